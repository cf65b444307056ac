#include "host/address_book.h"

namespace nimport::host {

namespace {

HandleNode* const NO_HANDLE = nullptr;

// A group, or the book, whose groups are being listed.
struct Level {
  HandleNode* handle;
  std::int32_t place;  // in the list; -1 for the book
  std::int32_t count;
  std::int32_t next = 0;
};

}  // namespace

AddressBook::AddressBook(const Library& library) : session_(library, Session::Kind::AddressBook) {
  book_ = library.Handle(library.functions().AD_OpenAddressBook, session_.handle(), NO_HANDLE,
                         NO_HANDLE);
  userIdField_ = FieldIndex(u"EMAIL;INTERNET");
  commentField_ = FieldIndex(u"NOTE");
}

AddressBook::~AddressBook() {
  const Library& library = session_.library();
  library.Run(library.functions().AD_CloseAddressBook, session_.handle(), NO_HANDLE, NO_HANDLE,
              book_);
}

std::int32_t AddressBook::AddressCount() const {
  const Library& library = session_.library();
  return library.Number(library.functions().AD_GetAddressCount, session_.handle(), book_);
}

std::vector<AddressGroup> AddressBook::Groups() const {
  const Library& library = session_.library();
  const Functions& functions = library.functions();
  HandleNode* const root = session_.handle();
  std::vector<AddressGroup> groups;
  std::vector<Level> path = {{book_, -1, GroupCount(book_)}};
  while (!path.empty()) {
    Level& level = path.back();
    if (level.next == level.count) {
      path.pop_back();
      continue;
    }
    HandleNode* const group =
        library.Handle(functions.AD_GetChildGroup, root, level.handle, level.next++);
    const auto place = static_cast<std::int32_t>(groups.size());
    groups.push_back({.name = library.Text(functions.AD_GetName, root, group),
                      .parent = level.place,
                      .handle = group});
    path.push_back({group, place, GroupCount(group)});
  }
  return groups;
}

std::vector<Address> AddressBook::AddressesOf(const AddressGroup& group) const {
  const Library& library = session_.library();
  const Functions& functions = library.functions();
  HandleNode* const root = session_.handle();
  const std::int32_t count = library.Number(functions.AD_GetAddressCount, root, group.handle);
  std::vector<Address> addresses;
  for (std::int32_t i = 0; i < count; ++i) {
    HandleNode* const address = library.Handle(functions.AD_GetAddress, root, group.handle, i);
    addresses.push_back({.id = library.Number(functions.AD_GetId, root, address),
                         .name = library.Text(functions.AD_GetName, root, address),
                         .userId = Value(address, userIdField_),
                         .comment = Value(address, commentField_)});
  }
  return addresses;
}

std::int32_t AddressBook::GroupCount(HandleNode* parent) const {
  const Library& library = session_.library();
  return library.Number(library.functions().AD_GetChildGroupCount, session_.handle(), parent);
}

std::string AddressBook::Value(HandleNode* address, std::int32_t field) const {
  const Library& library = session_.library();
  return library.Text(library.functions().AD_GetValue, session_.handle(), address, field);
}

std::int32_t AddressBook::FieldIndex(const char16_t* name) const {
  const Library& library = session_.library();
  return library.Number(library.functions().AD_GetFieldIndex, session_.handle(), book_, name);
}

}  // namespace nimport::host
