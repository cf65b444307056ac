#include "store/addressbook/address_fields.h"

#include <algorithm>
#include <array>
#include <string>

#include "common/failure.h"

namespace nimport::addressbook {
namespace {

constexpr std::array<AddressField, ADDRESS_FIELD_COUNT> FIELDS = {{
    // ID/アドレス
    {"EMAIL;INTERNET", "ID/\x83\x41\x83\x68\x83\x8C\x83\x58", &AddressEntry::userId},
    // コメント
    {"NOTE", "\x83\x52\x83\x81\x83\x93\x83\x67", &AddressEntry::comment},
    // 名前
    {"FN", "\x96\xBC\x91\x4F", &AddressEntry::name},
}};

}  // namespace

const AddressField& GetAddressField(std::int32_t field) {
  if (field < 0 || field >= ADDRESS_FIELD_COUNT) {
    FailInvalid("an address has no field " + std::to_string(field));
  }
  return FIELDS[static_cast<std::size_t>(field)];
}

std::optional<std::int32_t> FindAddressField(std::u16string_view name) {
  const auto found = std::ranges::find_if(FIELDS, [name](const AddressField& field) {
    return std::ranges::equal(
        name, field.name, [](char16_t a, char b) { return a == static_cast<unsigned char>(b); });
  });
  if (found == FIELDS.end()) return std::nullopt;
  return static_cast<std::int32_t>(found - FIELDS.begin());
}

}  // namespace nimport::addressbook
