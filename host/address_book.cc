#include "host/address_book.h"

#include <stdexcept>

namespace nimport::host {

namespace {

constexpr int MAX_DEPTH = 500;
HandleNode* const NO_HANDLE = nullptr;

}  // namespace

AddressBook::AddressBook(const Library& library) : session_(library, Session::Kind::AddressBook) {
  book_ = library.Handle(library.functions().AD_OpenAddressBook, session_.handle(), NO_HANDLE,
                         NO_HANDLE);
}

AddressBook::~AddressBook() {
  const Functions& functions = session_.library().functions();
  functions.AD_CloseAddressBook.address(session_.handle(), nullptr, nullptr, book_);
}

std::int32_t AddressBook::AddressCount() const {
  const Library& library = session_.library();
  return library.Number(library.functions().AD_GetAddressCount, session_.handle(), book_);
}

std::vector<AddressGroup> AddressBook::Groups() const {
  return GroupsBeneath(book_, 0);
}

std::vector<AddressGroup> AddressBook::GroupsBeneath(HandleNode* parent, int depth) const {
  // The tree is walked, counted and freed by recursion.
  if (depth > MAX_DEPTH) throw std::runtime_error("the address book's groups are nested too deep");
  const Library& library = session_.library();
  const Functions& functions = library.functions();
  HandleNode* const root = session_.handle();
  std::vector<AddressGroup> groups;
  const std::int32_t count = library.Number(functions.AD_GetChildGroupCount, root, parent);
  for (std::int32_t i = 0; i < count; ++i) {
    HandleNode* const group = library.Handle(functions.AD_GetChildGroup, root, parent, i);
    groups.push_back({.name = library.Text(functions.AD_GetName, root, group),
                      .addresses = AddressesOf(group),
                      .groups = GroupsBeneath(group, depth + 1)});
  }
  return groups;
}

std::vector<Address> AddressBook::AddressesOf(HandleNode* group) const {
  const Library& library = session_.library();
  const Functions& functions = library.functions();
  HandleNode* const root = session_.handle();
  const std::int32_t emailField = FieldIndex(u"EMAIL;INTERNET");
  const std::int32_t noteField = FieldIndex(u"NOTE");
  std::vector<Address> addresses;
  const std::int32_t count = library.Number(functions.AD_GetAddressCount, root, group);
  for (std::int32_t i = 0; i < count; ++i) {
    HandleNode* const address = library.Handle(functions.AD_GetAddress, root, group, i);
    addresses.push_back({.id = library.Number(functions.AD_GetId, root, address),
                         .name = library.Text(functions.AD_GetName, root, address),
                         .userId = Value(address, emailField),
                         .comment = Value(address, noteField)});
  }
  return addresses;
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
