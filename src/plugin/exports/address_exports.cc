// The address book: opening, groups and addresses, fields and values.
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "nimport/nimport.h"
#include "platform/diagnostics.h"
#include "plugin/exports/export_guard.h"
#include "plugin/exports/result_string.h"
#include "plugin/handle_node.h"
#include "plugin/session_context.h"
#include "store/addressbook/address_book.h"
#include "store/addressbook/address_book_loader.h"
#include "store/addressbook/address_fields.h"

namespace nimport::plugin {
namespace {

using addressbook::AddressBook;
using addressbook::AddressEntry;
using addressbook::AddressField;

// アドレス帳
constexpr std::string_view BOOK_NAME = "\x83\x41\x83\x68\x83\x8C\x83\x58\x92\xA0";

constexpr std::int32_t NO_SUCH_FIELD = -1;

const AddressBook& RequireBookData(const SessionContext& context) {
  if (!context.addressBookData) FailInvalid("no address book is open (AD_OpenAddressBook)");
  return *context.addressBookData;
}

// Runs `work(context, bookData)` in a session with an open address book.
template <typename Work>
ResultCode RunOnBook(const char* function, HandleNode* session, Work&& work) noexcept {
  return RunExport(function, [&](ExportCall& call) {
    SessionContext& context = call.RequireSession(session);
    if (context.openBooks == 0) FailInvalid("no address book is open (AD_OpenAddressBook)");
    work(context, RequireBookData(context));
  });
}

void RequireBook(HandleNode* node) {
  RequireHandle<Book>(node, "not an address book handle");
}

// The position of a group, or WHOLE_BOOK for a book.
std::int32_t RequireBookOrGroup(HandleNode* node) {
  const Handle& handle = RequireHandle(node).handle;
  if (std::holds_alternative<Book>(handle)) return AddressBook::WHOLE_BOOK;
  const auto* group = std::get_if<Group>(&handle);
  if (group == nullptr) FailInvalid("not an address book or group handle");
  return group->position;
}

const Address& RequireAddress(HandleNode* node) {
  return RequireHandle<Address>(node, "not an address handle");
}

AddressEntry ResolveAddress(const AddressBook& bookData, const Address& address) {
  return bookData.ResolveAddress(address.group, address.position);
}

platform::FailureRecord RecordOn(const SessionContext& context, std::string reason) {
  platform::FailureRecord record;
  record.reason = std::move(reason);
  record.file = context.database->fileName();
  record.table = "AddressBookTBL";
  return record;
}

void ReportRowsLeftOut(ExportCall& call, const SessionContext& context,
                       const addressbook::RowsLeftOut& rows) {
  std::string leftOut = addressbook::Describe(rows);
  if (leftOut.empty()) return;
  platform::FailureRecord note = RecordOn(context, std::move(leftOut));
  note.isNote = true;
  call.Report(std::move(note));
}

addressbook::RowsLeftOut ReadBook(ExportCall& call, SessionContext& context) {
  jet::Database& database = context.database->get();
  if (!context.platform.IsSalvaging()) {
    return addressbook::LoadAddressBook(database, context.addressBookData);
  }
  return addressbook::SalvageAddressBook(
      database, context.addressBookData,
      [&](const std::string& reason) { call.Report(RecordOn(context, reason)); });
}

void LoadBook(ExportCall& call, SessionContext& context) {
  ReportRowsLeftOut(call, context, ReadBook(call, context));
}

HandleNode* OpenBook(ExportCall& call, SessionContext& context, HandleNode& session) {
  if (context.openBooks == 0) LoadBook(call, context);
  HandleNode* book = AppendChild(session, std::make_unique<HandleNode>(Book{}));
  ++context.openBooks;
  return book;
}

void CloseBook(SessionContext& context, HandleNode& session, const HandleNode& book) {
  if (book.parent != &session) FailInvalid("an address book of another session");
  RemoveChild(session, book);
  if (--context.openBooks == 0) addressbook::ReleaseAddressBook(context.addressBookData);
}

std::string_view NameOf(const SessionContext& context, const Handle& handle) {
  if (std::holds_alternative<Book>(handle)) return BOOK_NAME;
  if (const auto* group = std::get_if<Group>(&handle)) {
    return RequireBookData(context).At(group->position).name;
  }
  const auto* address = std::get_if<Address>(&handle);
  if (address == nullptr) FailInvalid("a handle of this kind has no name in an address book");
  return ResolveAddress(RequireBookData(context), *address).name;
}

// The address's position in the whole book. A position that is no address's is counted like others.
std::int32_t IdOf(const AddressBook& bookData, const Address& address) {
  if (address.group == AddressBook::WHOLE_BOOK) return address.position;
  const std::int64_t id = std::int64_t{bookData.FirstAddress(address.group)} + address.position;
  return static_cast<std::int32_t>(id);
}

// Writes a text of a field, which is the same in every book.
ResultCode GetFieldText(const char* function, HandleNode* session, HandleNode* book,
                        std::int32_t field, std::string_view AddressField::*fieldText,
                        ResultString* text) {
  return RunOnBook(function, session, [&](SessionContext& context, const AddressBook&) {
    RequireBook(book);
    WriteResultString(text, addressbook::GetAddressField(field).*fieldText,
                      context.platform.text());
  });
}

}  // namespace
}  // namespace nimport::plugin

using namespace nimport;
using namespace nimport::plugin;

ResultCode NIMPORT_CALL AD_OpenAddressBook(HandleNode* session, HandleNode*, HandleNode*,
                                           HandleNode** book) {
  return RunExport("AD_OpenAddressBook", [&](ExportCall& call) {
    SessionContext& context = call.RequireSession(session);
    HandleNode*& out = RequireOut(book);
    out = OpenBook(call, context, *session);
  });
}

ResultCode NIMPORT_CALL AD_CloseAddressBook(HandleNode* session, HandleNode*, HandleNode*,
                                            HandleNode* book) {
  return RunExport("AD_CloseAddressBook", [&](ExportCall& call) {
    SessionContext& context = call.RequireSession(session);
    static_cast<void>(RequireHandle(book));
    // When no book is open, the handle may be one that was closed already: it is not looked at.
    if (context.openBooks == 0) return;
    RequireBook(book);
    CloseBook(context, *session, *book);
  });
}

ResultCode NIMPORT_CALL AD_GetChildGroupCount(HandleNode* session, HandleNode* parent,
                                              std::int32_t* count) {
  return RunOnBook("AD_GetChildGroupCount", session,
                   [&](SessionContext&, const AddressBook& bookData) {
                     const std::int32_t group = RequireBookOrGroup(parent);
                     RequireOut(count) = bookData.ChildCount(group);
                   });
}

ResultCode NIMPORT_CALL AD_GetChildGroup(HandleNode* session, HandleNode* parent,
                                         std::int32_t index, HandleNode** group) {
  return RunOnBook("AD_GetChildGroup", session, [&](SessionContext&, const AddressBook& bookData) {
    const std::int32_t position = RequireBookOrGroup(parent);
    HandleNode*& out = RequireOut(group);
    const std::optional<std::int32_t> child = bookData.FindChild(position, index);
    if (!child) FailInvalid("no group at position " + std::to_string(index));
    out = AppendChild(*parent, std::make_unique<HandleNode>(Group{*child}));
  });
}

ResultCode NIMPORT_CALL AD_GetAddressCount(HandleNode* session, HandleNode* parent,
                                           std::int32_t* count) {
  return RunOnBook("AD_GetAddressCount", session,
                   [&](SessionContext&, const AddressBook& bookData) {
                     const std::int32_t group = RequireBookOrGroup(parent);
                     RequireOut(count) = bookData.AddressCount(group);
                   });
}

ResultCode NIMPORT_CALL AD_GetAddress(HandleNode* session, HandleNode* parent, std::int32_t index,
                                      HandleNode** address) {
  return RunOnBook("AD_GetAddress", session, [&](SessionContext&, const AddressBook&) {
    const std::int32_t group = RequireBookOrGroup(parent);
    HandleNode*& out = RequireOut(address);
    out = AppendChild(*parent,
                      std::make_unique<HandleNode>(Address{.group = group, .position = index}));
  });
}

ResultCode NIMPORT_CALL AD_GetName(HandleNode* session, HandleNode* node, ResultString* text) {
  return RunExport("AD_GetName", [&](ExportCall& call) {
    const SessionContext& context = call.RequireSession(session);
    const std::string_view name = node == nullptr ? "" : NameOf(context, node->handle);
    WriteResultString(text, name, context.platform.text());
  });
}

ResultCode NIMPORT_CALL AD_GetId(HandleNode* session, HandleNode* address, std::int32_t* id) {
  return RunOnBook("AD_GetId", session, [&](SessionContext&, const AddressBook& bookData) {
    const Address& asked = RequireAddress(address);
    RequireOut(id) = IdOf(bookData, asked);
  });
}

ResultCode NIMPORT_CALL AD_GetFieldCount(HandleNode* session, HandleNode* book,
                                         std::int32_t* count) {
  return RunOnBook("AD_GetFieldCount", session, [&](SessionContext&, const AddressBook&) {
    RequireBook(book);
    RequireOut(count) = addressbook::ADDRESS_FIELD_COUNT;
  });
}

ResultCode NIMPORT_CALL AD_GetFieldName(HandleNode* session, HandleNode* book, std::int32_t field,
                                        ResultString* text) {
  return GetFieldText("AD_GetFieldName", session, book, field, &AddressField::name, text);
}

ResultCode NIMPORT_CALL AD_GetFieldLabel(HandleNode* session, HandleNode* book, std::int32_t field,
                                         ResultString* text) {
  return GetFieldText("AD_GetFieldLabel", session, book, field, &AddressField::label, text);
}

ResultCode NIMPORT_CALL AD_GetFieldIndex(HandleNode* session, HandleNode* book,
                                         const NimportChar16* name, std::int32_t* index) {
  return RunOnBook("AD_GetFieldIndex", session, [&](SessionContext&, const AddressBook&) {
    RequireBook(book);
    std::int32_t& out = RequireOut(index);
    if (name == nullptr) FailInvalid("no name of a field");
    out = addressbook::FindAddressField(CopyText(name)).value_or(NO_SUCH_FIELD);
  });
}

ResultCode NIMPORT_CALL AD_GetValue(HandleNode* session, HandleNode* address, std::int32_t field,
                                    ResultString* text) {
  return RunOnBook("AD_GetValue", session,
                   [&](SessionContext& context, const AddressBook& bookData) {
                     const Address& asked = RequireAddress(address);
                     const AddressField& addressField = addressbook::GetAddressField(field);
                     WriteResultString(text, ResolveAddress(bookData, asked).*addressField.value,
                                       context.platform.text());
                   });
}
