#include "addressbook/address_table.h"

#include <optional>
#include <string>
#include <utility>

#include "common/failure.h"
#include "jet/database_error.h"
#include "platform/columns.h"

namespace nimport::addressbook {
namespace {

using platform::ReadNumber;
using platform::ReadText;

constexpr std::int32_t TYPE_GROUP = 0;
constexpr std::int32_t TYPE_ADDRESS = 2;

std::string RequireText(const jet::Recordset& row, const char* column) {
  std::optional<std::string> text = ReadText(row, column);
  if (!text) {
    FailInvalid(std::string("column ") + column + " is Null where KeyNo is " +
                std::to_string(ReadNumber(row, "KeyNo")));
  }
  return *std::move(text);
}

GroupRow ReadGroup(const jet::Recordset& row) {
  GroupRow group;
  group.name = NameText::CutOwned(RequireText(row, "Name"));
  group.key = ReadNumber(row, "KeyNo");
  return group;
}

AddressEntry ReadAddress(const jet::Recordset& row) {
  AddressEntry entry;
  entry.name = NameText::CutOwned(ReadText(row, "Name").value_or(""));
  entry.userId = NameText::CutOwned(RequireText(row, "UserID"));
  entry.comment = ValueText::CutOwned(ReadText(row, "Comment").value_or(""));
  return entry;
}

// Runs `read` unless something failed before; keeps what it throws.
template <typename Read>
void ReadUnlessFailed(std::exception_ptr& failure, Read&& read) {
  if (failure) return;
  try {
    read();
  } catch (const Failure&) {
    failure = std::current_exception();
  } catch (const jet::DatabaseError&) {
    failure = std::current_exception();
  }
}

}  // namespace

std::size_t KeyMembers::Size() const {
  return groups.size() + (addresses ? addresses->size() : 0);
}

AddressTable::AddressTable(jet::Database& database) {
  const auto table = database.OpenTable("AddressBookTBL");
  const auto rows = table->OpenRecordset();
  try {
    for (; !rows->IsEof(); rows->MoveNext())
      AddRow(*rows);
  } catch (const jet::DatabaseError&) {
    EndWith(std::current_exception());
  }
}

KeyMembers& AddressTable::MembersOf(std::int32_t key) {
  const auto found = members_.find(key);
  return found == members_.end() ? none_ : found->second;
}

void AddressTable::AddRow(const jet::Recordset& row) {
  const std::int32_t parentKey = ReadNumber(row, "ParentKeyNo");
  const std::int32_t type = ReadNumber(row, "Type");
  if (type != TYPE_GROUP && type != TYPE_ADDRESS) return;
  ++rowCount_;
  KeyMembers& members = members_[parentKey];
  if (type == TYPE_GROUP) {
    ReadUnlessFailed(members.groupFailure, [&] { members.groups.push_back(ReadGroup(row)); });
    return;
  }
  ReadUnlessFailed(members.addressFailure, [&] {
    if (!members.addresses) members.addresses = std::make_shared<AddressList>();
    members.addresses->push_back(ReadAddress(row));
  });
}

void AddressTable::EndWith(const std::exception_ptr& failure) {
  const auto end = [&failure](KeyMembers& members) {
    if (!members.groupFailure) members.groupFailure = failure;
    if (!members.addressFailure) members.addressFailure = failure;
  };
  for (auto& [key, members] : members_)
    end(members);
  end(none_);
}

}  // namespace nimport::addressbook
