// The fields of an address: three, fixed.
#ifndef NIMPORT_STORE_ADDRESSBOOK_ADDRESS_FIELDS_H_
#define NIMPORT_STORE_ADDRESSBOOK_ADDRESS_FIELDS_H_

#include <cstdint>
#include <optional>
#include <string_view>

#include "store/addressbook/address_list.h"

namespace nimport::addressbook {

inline constexpr std::int32_t ADDRESS_FIELD_COUNT = 3;

struct AddressField {
  std::string_view name;   // of the vCard property; ASCII
  std::string_view label;  // what a user is shown; code page 932
  std::string_view AddressEntry::*value;
};

// The field at an index from 0. Throws Failure (-3) when there is none.
[[nodiscard]] const AddressField& GetAddressField(std::int32_t field);

// The index of the field with this name, to the letter; empty when there is none.
[[nodiscard]] std::optional<std::int32_t> FindAddressField(std::u16string_view name);

}  // namespace nimport::addressbook

#endif  // NIMPORT_STORE_ADDRESSBOOK_ADDRESS_FIELDS_H_
