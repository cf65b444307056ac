#include "store/mails/linked_files.h"

#include <algorithm>
#include <functional>
#include <utility>

#include "common/failure.h"
#include "platform/columns.h"

namespace nimport::store {
namespace {

constexpr char KEY_COLUMN[] = "MailID";
constexpr char PATH_COLUMN[] = "RcvFilePath";

// Of all indexes together, 12 bytes each. A single index may be larger: it is needed.
constexpr std::size_t MAX_ENTRIES = std::size_t{3} << 19;

std::uint32_t HashOf(std::string_view key) {
  return static_cast<std::uint32_t>(std::hash<std::string_view>()(key));
}

bool HasKey(const jet::Recordset& row, std::string_view key) {
  const std::optional<std::string> mailId = platform::ReadText(row, KEY_COLUMN);
  return mailId && mailId->starts_with(key);
}

// Goes from the row after `lastRow`, or the first one, to the next with this key.
bool WalkOn(jet::Recordset& rows, const std::optional<jet::Bookmark>& lastRow,
            std::string_view key) {
  if (lastRow) {
    rows.SetBookmark(*lastRow);
    rows.MoveNext();
  } else {
    rows.MoveFirst();
  }
  for (; !rows.IsEof(); rows.MoveNext()) {
    if (HasKey(rows, key)) return true;
  }
  return false;
}

}  // namespace

LinkedFiles::Index LinkedFiles::MakeIndex(jet::Recordset& rows, std::size_t keyBytes) {
  Index index{.keyBytes = keyBytes, .entries = {}};
  try {
    AddToIndex(rows, index);
    index.isWhole = true;
  } catch (const jet::DatabaseError&) {
    // Who looks for a file that is not among those so far meets the damage.
  }
  std::ranges::stable_sort(index.entries, {}, &Entry::hash);
  index.entries.shrink_to_fit();
  return index;
}

void LinkedFiles::AddToIndex(jet::Recordset& rows, Index& index) {
  for (rows.MoveFirst(); !rows.IsEof(); rows.MoveNext()) {
    const std::optional<std::string> mailId = platform::ReadText(rows, KEY_COLUMN);
    const jet::Bookmark row = rows.GetBookmark();
    index.lastRow = row;
    if (!mailId || mailId->size() < index.keyBytes) continue;
    index.entries.push_back({.hash = HashOf(std::string_view(*mailId).substr(0, index.keyBytes)),
                             .bookmarkHigh = static_cast<std::uint32_t>(row.position >> 32),
                             .bookmarkLow = static_cast<std::uint32_t>(row.position)});
  }
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
  const auto query = database.OpenQuery(queryName_);
  const auto rows = query->OpenRecordset();
  const Index& index = GetIndex(*rows, key.size());
  const std::uint32_t hash = HashOf(key);
  // Other candidates than the first come up where two keys have one hash.
  for (auto candidate = std::ranges::lower_bound(index.entries, hash, {}, &Entry::hash);
       candidate != index.entries.end() && candidate->hash == hash; ++candidate) {
    rows->SetBookmark(candidate->RowBookmark());
    if (!rows->IsEof() && HasKey(*rows, key)) return platform::ReadText(*rows, PATH_COLUMN);
  }
  if (!index.isWhole && WalkOn(*rows, index.lastRow, key)) {
    return platform::ReadText(*rows, PATH_COLUMN);
  }
  FailInvalid("no received file has the MailID of the forwarded mail");
}

}  // namespace nimport::store
