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

// A group. `parent` is the place in the list of the group that it belongs to, or -1 at the top.
struct AddressGroup {
  std::string name;
  std::int32_t parent = -1;
  HandleNode* handle = nullptr;
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

  // All groups in tree order: a group, everything beneath it, then its next sibling. A list and no
  // tree, since the file decides how deep groups are nested. A group that leads back to itself has
  // been cut off by the plug-in.
  [[nodiscard]] std::vector<AddressGroup> Groups() const;

  // The addresses of a group itself.
  [[nodiscard]] std::vector<Address> AddressesOf(const AddressGroup& group) const;

 private:
  [[nodiscard]] std::int32_t GroupCount(HandleNode* parent) const;
  [[nodiscard]] std::string Value(HandleNode* address, std::int32_t field) const;
  [[nodiscard]] std::int32_t FieldIndex(const char16_t* name) const;

  Session session_;
  HandleNode* book_ = nullptr;
  std::int32_t userIdField_ = 0;
  std::int32_t commentField_ = 0;
};

}  // namespace nimport::host

#endif  // NIMPORT_HOST_ADDRESS_BOOK_H_
