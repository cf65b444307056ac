#ifndef NIMPORT_HOST_ADDRESS_BOOK_H_
#define NIMPORT_HOST_ADDRESS_BOOK_H_

#include <cstdint>
#include <string>
#include <vector>

#include "host/session.h"

namespace nimport::host {

// One address. Texts are as stored; any of them may be empty.
struct Address {
  std::int32_t id = 0;  // position in the whole book
  std::string name;
  std::string userId;
  std::string comment;
};

// A group with its own addresses and the groups beneath it, in the store's order.
struct AddressGroup {
  std::string name;
  std::vector<Address> addresses;
  std::vector<AddressGroup> groups;
};

// The address book, open as long as this object lives.
class AddressBook {
 public:
  // Opens a session of its own. Throws ResultError. `library` outlives the book.
  explicit AddressBook(const Library& library);
  ~AddressBook();
  AddressBook(const AddressBook&) = delete;
  AddressBook& operator=(const AddressBook&) = delete;

  // The number of addresses in the whole book.
  [[nodiscard]] std::int32_t AddressCount() const;

  // The groups at the top. A group that leads back to itself has been cut off by the plug-in.
  // Throws std::runtime_error when they are nested more than 500 deep, as no person nests them.
  [[nodiscard]] std::vector<AddressGroup> Groups() const;

 private:
  [[nodiscard]] std::vector<AddressGroup> GroupsBeneath(HandleNode* parent, int depth) const;
  [[nodiscard]] std::vector<Address> AddressesOf(HandleNode* group) const;
  [[nodiscard]] std::string Value(HandleNode* address, std::int32_t field) const;
  [[nodiscard]] std::int32_t FieldIndex(const char16_t* name) const;

  Session session_;
  HandleNode* book_ = nullptr;
};

}  // namespace nimport::host

#endif  // NIMPORT_HOST_ADDRESS_BOOK_H_
