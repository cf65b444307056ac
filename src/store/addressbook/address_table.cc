#include "store/addressbook/address_table.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>
#include <utility>

#include "common/failure.h"
#include "jet/database_error.h"
#include "jet/recordset.h"
#include "platform/columns.h"

namespace nimport::addressbook {
namespace {

constexpr const char* TABLE_NAME = "AddressBookTBL";
constexpr std::int32_t TYPE_GROUP = 0;
constexpr std::int32_t TYPE_ADDRESS = 2;

// A table of nothing but such rows does not fill memory with sentences.
constexpr std::size_t MAX_ROWS_TOLD = 1'000;

enum BookColumn : std::size_t { KeyNo, ParentKeyNo, Type, Name, UserId, Comment };
constexpr std::array<std::string_view, 6> COLUMN_NAMES = {"KeyNo", "ParentKeyNo", "Type",
                                                          "Name",  "UserID",      "Comment"};

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

jet::KnownObjects KnownAddressObjects() {
  jet::KnownTable table{.name = TABLE_NAME, .columns = {}, .usualColumns = {}};
  for (std::size_t column = 0; column < COLUMN_NAMES.size(); ++column) {
    table.columns.emplace_back(std::string(COLUMN_NAMES[column]),
                               column < Name ? jet::ColumnUse::Number : jet::ColumnUse::Text);
  }
  return {.tables = {std::move(table)}, .queries = {}};
}

// The recordset's current row. Columns are looked up once, not for each row.
class AddressTable::Row {
 public:
  Row(const jet::TableDefinition& table, const jet::Recordset& rows) : rows_(rows) {
    const std::vector<jet::ColumnInfo>& columns = table.Columns();
    for (std::size_t i = 0; i < positions_.size(); ++i) {
      const auto found = std::ranges::find(columns, COLUMN_NAMES[i], &jet::ColumnInfo::name);
      if (found == columns.end()) continue;
      positions_[i] = static_cast<std::size_t>(found - columns.begin());
    }
  }

  [[nodiscard]] jet::Value Get(BookColumn column) const {
    const std::optional<std::size_t>& position = positions_[column];
    // By its name where the table spells it otherwise, or lacks it and says so.
    return position ? rows_.GetFieldValue(*position) : rows_.GetFieldValue(COLUMN_NAMES[column]);
  }

  [[nodiscard]] std::int32_t GetNumber(BookColumn column) const {
    return platform::NumberOf(Get(column));
  }

  // For messages: says by its numbers which row it is, or nothing where they cannot be read, which
  // is no failure of what the message is about.
  [[nodiscard]] std::string Place() const {
    try {
      return ", where KeyNo is " + std::to_string(GetNumber(KeyNo)) + " and ParentKeyNo " +
             std::to_string(GetNumber(ParentKeyNo));
    } catch (const jet::DatabaseError&) {
      return {};
    }
  }

 private:
  const jet::Recordset& rows_;
  std::array<std::optional<std::size_t>, COLUMN_NAMES.size()> positions_;
};

std::size_t AddressTable::SpreadKey::operator()(std::int32_t key) const {
  std::uint64_t bits = static_cast<std::uint32_t>(key) * std::uint64_t{0x9E3779B97F4A7C15};
  bits ^= bits >> 32;
  return static_cast<std::size_t>(bits * 0xBF58476D1CE4E5B9);
}

AddressTable::AddressTable(jet::Database& database, BadRowListener onBadRow,
                           store::TextLimits limits)
    : onBadRow_(std::move(onBadRow)), limits_(limits) {
  const auto table = database.OpenTable(TABLE_NAME);
  const auto rows = table->OpenRecordset();
  const Row row(*table, *rows);
  try {
    for (; !rows->IsEof(); rows->MoveNext())
      AddRow(row);
  } catch (const jet::DatabaseError&) {
    EndWith(std::current_exception());
  }
}

KeyMembers& AddressTable::MembersOf(std::int32_t key) {
  const auto found = members_.find(key);
  return found == members_.end() ? none_ : found->second;
}

std::vector<std::int32_t> AddressTable::Keys() const {
  std::vector<std::int32_t> keys;
  keys.reserve(members_.size());
  for (const auto& [key, members] : members_)
    keys.push_back(key);
  std::ranges::sort(keys);
  return keys;
}

void AddressTable::AddRow(const Row& row) {
  KeyMembers& members = members_[row.GetNumber(ParentKeyNo)];
  try {
    AddMember(row, row.GetNumber(Type), members);
  } catch (const jet::DatabaseError&) {
    // It may have been either.
    if (!members.groupFailure) members.groupFailure = std::current_exception();
    if (!members.addressFailure) members.addressFailure = std::current_exception();
  }
}

void AddressTable::AddMember(const Row& row, std::int32_t type, KeyMembers& members) {
  if (type == TYPE_GROUP) {
    ++rowCount_;
    ReadUnlessFailed(members.groupFailure, [&] { members.groups.push_back(ReadGroup(row)); });
  } else if (type == TYPE_ADDRESS) {
    ++rowCount_;
    if (!members.addresses) members.addresses = std::make_shared<AddressList>(texts_, limits_);
    ReadUnlessFailed(members.addressFailure, [&] { AppendAddress(row, *members.addresses); });
  } else {
    ++otherRowCount_;
  }
}

GroupRow AddressTable::ReadGroup(const Row& row) {
  const jet::Value name = row.Get(Name);
  RequireValue(row, name, "a group without a Name");
  const std::string_view text = platform::TextOf(name);
  return {.key = row.GetNumber(KeyNo),
          .name = limits_ == store::TextLimits::None ? std::string(text)
                                                     : text::NameText::Cut(text).str()};
}

void AddressTable::AppendAddress(const Row& row, AddressList& addresses) {
  const jet::Value name = row.Get(Name);
  const jet::Value userId = row.Get(UserId);
  RequireValue(row, userId, "an address without a UserID");
  const jet::Value comment = row.Get(Comment);
  addresses.Append({.name = platform::TextOf(name),
                    .comment = platform::TextOf(comment),
                    .userId = platform::TextOf(userId)});
}

void AddressTable::RequireValue(const Row& row, const jet::Value& value, const char* what) {
  if (!jet::IsNull(value)) return;
  const std::string reason = std::string("the table has ") + what + row.Place();
  if (!onBadRow_) FailInvalid("AddressBookTBL: " + reason);
  TellOfBadRow(reason);
}

void AddressTable::TellOfBadRow(const std::string& reason) {
  if (++badRowCount_ <= MAX_ROWS_TOLD) onBadRow_(reason);
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
