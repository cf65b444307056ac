#include "mailstore/linked_files.h"

#include <algorithm>
#include <functional>
#include <utility>

#include "common/failure.h"
#include "mailstore/mail_kinds.h"
#include "platform/columns.h"

namespace nimport::mailstore {
namespace {

constexpr char KEY_COLUMN[] = "MailID";
constexpr char PATH_COLUMN[] = "RcvFilePath";

// What a number that is null reads as; rows cannot be found by it.
constexpr std::int32_t NO_NUMBER = 0;

// Of all indexes together, 8 bytes each. A single index may be larger: it is needed.
constexpr std::size_t MAX_ENTRIES = std::size_t{2} << 20;

std::uint32_t HashOf(std::string_view key) {
  return static_cast<std::uint32_t>(std::hash<std::string_view>()(key));
}

bool HasKey(const jet::Recordset& row, std::string_view key) {
  const std::optional<std::string> mailId = platform::ReadText(row, KEY_COLUMN);
  return mailId && mailId->starts_with(key);
}

// Stands on the first row with this number and key.
bool StandOn(jet::Recordset& rows, std::int32_t dataNo, std::string_view key) {
  bool found = rows.FindFirst("DataNo", dataNo);
  while (found && !HasKey(rows, key))
    found = rows.FindNext();
  return found;
}

// The same by going through all rows, for one without a number.
bool WalkTo(jet::Recordset& rows, std::string_view key) {
  for (rows.MoveFirst(); !rows.IsEof(); rows.MoveNext()) {
    if (HasKey(rows, key)) return true;
  }
  return false;
}

}  // namespace

LinkedFiles::Index LinkedFiles::MakeIndex(jet::Recordset& rows, std::size_t keyBytes) {
  Index index{.keyBytes = keyBytes, .entries = {}};
  for (rows.MoveFirst(); !rows.IsEof(); rows.MoveNext()) {
    const std::optional<std::string> mailId = platform::ReadText(rows, KEY_COLUMN);
    if (!mailId || mailId->size() < keyBytes) continue;
    index.entries.push_back({.hash = HashOf(std::string_view(*mailId).substr(0, keyBytes)),
                             .dataNo = platform::ReadNumber(rows, "DataNo")});
  }
  std::ranges::stable_sort(index.entries, {}, &Entry::hash);
  index.entries.shrink_to_fit();
  return index;
}

const LinkedFiles::Index& LinkedFiles::GetIndex(jet::Recordset& rows, std::size_t keyBytes) {
  const auto known = std::ranges::find(indexes_, keyBytes, &Index::keyBytes);
  if (known != indexes_.end()) return *known;
  indexes_.push_back(MakeIndex(rows, keyBytes));
  std::size_t total = 0;
  for (const Index& index : indexes_)
    total += index.entries.size();
  for (; total > MAX_ENTRIES && indexes_.size() > 1; indexes_.pop_front())
    total -= indexes_.front().entries.size();
  return indexes_.back();
}

std::optional<std::string> LinkedFiles::FindPath(jet::Database& database, std::string_view key,
                                                 std::optional<std::uint64_t> databaseStamp) {
  if (!databaseStamp || databaseStamp_ != databaseStamp) indexes_.clear();
  databaseStamp_ = databaseStamp;
  const auto query = database.OpenQuery(LINKED_FILE_QUERY);
  const auto rows = query->OpenRecordset();
  const std::vector<Entry>& entries = GetIndex(*rows, key.size()).entries;
  const std::uint32_t hash = HashOf(key);
  // Other candidates than the first come up where two keys have one hash.
  for (auto candidate = std::ranges::lower_bound(entries, hash, {}, &Entry::hash);
       candidate != entries.end() && candidate->hash == hash; ++candidate) {
    const bool isFound = candidate->dataNo == NO_NUMBER ? WalkTo(*rows, key)
                                                        : StandOn(*rows, candidate->dataNo, key);
    if (isFound) return platform::ReadText(*rows, PATH_COLUMN);
  }
  FailInvalid("no received file has the MailID of the forwarded mail");
}

}  // namespace nimport::mailstore
