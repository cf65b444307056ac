// The address book of a session, in memory.
#ifndef NIMPORT_STORE_ADDRESSBOOK_ADDRESS_BOOK_H_
#define NIMPORT_STORE_ADDRESSBOOK_ADDRESS_BOOK_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "store/addressbook/address_list.h"
#include "text/fixed_text.h"

namespace nimport::addressbook {

// One group. Several groups may share their addresses: see address_book_loader.h.
struct AddressGroup {
  std::int32_t parentIndex = -1;  // position of the group that it belongs to; -1 at the top level
  std::int32_t index = 0;         // its own position
  std::string name;               // in the database's code page
  std::shared_ptr<const AddressList> addresses;  // null when there are none
};

// The groups in tree order: a group, then all groups beneath it, then its next sibling. Addresses
// have a position in their group, and one in the whole book: group after group, each group's own
// addresses in their order. All answers come at a cost that does not grow with the book, or with
// the logarithm of the number of groups.
class AddressBook {
 public:
  // Stands in the place of a group's position for the book as a whole.
  static constexpr std::int32_t WHOLE_BOOK = -1;

  AddressBook() = default;
  // Each group stands at its `index`, after its parent. There are at most 2^31 - 1 addresses.
  explicit AddressBook(std::vector<AddressGroup> groups);

  // Groups have positions below this number.
  [[nodiscard]] std::int32_t GroupCount() const {
    return static_cast<std::int32_t>(groups_.size());
  }

  // Throws Failure (-3) when there is no such group.
  [[nodiscard]] const AddressGroup& At(std::int32_t groupIndex) const;

  // The groups directly beneath a group or the book; 0 for a position that is not in the list.
  [[nodiscard]] std::int32_t ChildCount(std::int32_t parentIndex) const;
  // The position of child number `childIndex`, from 0; empty when there is no such child.
  [[nodiscard]] std::optional<std::int32_t> FindChild(std::int32_t parentIndex,
                                                      std::int32_t childIndex) const;

  // The addresses of a group itself, or of the whole book. Throws Failure (-3) as At does.
  [[nodiscard]] std::int32_t AddressCount(std::int32_t groupIndex) const;

  // The position in the whole book of a group's first address. Throws Failure (-3) as At does.
  [[nodiscard]] std::int32_t FirstAddress(std::int32_t groupIndex) const;

  // The address at a position of a group or of the whole book; borrows from the book. Throws
  // Failure
  // (-3) when there is no such group or address.
  [[nodiscard]] AddressEntry ResolveAddress(std::int32_t groupIndex,
                                            std::int32_t addressIndex) const;

 private:
  std::vector<AddressGroup> groups_;
  // Book-wide position of the first address of the group at the same place; at the end the total.
  std::vector<std::int32_t> firstAddresses_ = {0};
  // The children of the group at position p are the elements from childStarts_[p + 1] to
  // childStarts_[p + 2] of children_; those of the book come first.
  std::vector<std::int32_t> childStarts_ = {0, 0};
  std::vector<std::int32_t> children_;

  void CountAddresses();
  void ListChildren();
};

}  // namespace nimport::addressbook

#endif  // NIMPORT_STORE_ADDRESSBOOK_ADDRESS_BOOK_H_
