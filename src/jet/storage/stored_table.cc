#include "jet/storage/stored_table.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "jet/storage/stored_row.h"
#include "text/ascii_case.h"

namespace nimport::jet {
namespace {

// About where `value` stands when values are spread evenly, as numbers are that were given one
// after the other.
std::size_t GuessPosition(std::span<const IndexEntry> index, std::int32_t value) {
  if (index.empty() || value <= index.front().value) return 0;
  if (value >= index.back().value) return index.size() - 1;
  const auto distance = [&index](std::int32_t to) {
    return static_cast<std::uint64_t>(std::int64_t{to} - index.front().value);
  };
  // Neither factor has more than 32 bits: row ids do not.
  return static_cast<std::size_t>(distance(value) * (index.size() - 1) /
                                  distance(index.back().value));
}

// The number of entries at the start of the index for which `isBefore` holds. Looks ever farther
// away from `guess`: a good guess costs a look or two, a bad one no more than a binary search.
template <typename IsBefore>
std::size_t FindEnd(std::span<const IndexEntry> index, std::size_t guess, IsBefore isBefore) {
  std::size_t low = 0;
  std::size_t high = index.size();
  if (guess < high && isBefore(index[guess])) {
    low = guess + 1;
    for (std::size_t step = 1; high - low > step; step *= 2) {
      if (!isBefore(index[low + step - 1])) {
        high = low + step - 1;
        break;
      }
      low += step;
    }
  } else {
    high = guess;
    for (std::size_t step = 1; high > step; step *= 2) {
      if (isBefore(index[high - step])) {
        low = high - step + 1;
        break;
      }
      high -= step;
    }
  }
  const auto part = index.subspan(low, high - low);
  const auto end = std::partition_point(part.begin(), part.end(), isBefore);
  return low + static_cast<std::size_t>(end - part.begin());
}

constexpr std::string_view SYSTEM_PREFIX = "MSys";

void SortIndex(std::vector<IndexEntry>& index) {
  const auto isBefore = [](const IndexEntry& a, const IndexEntry& b) {
    return a.value != b.value ? a.value < b.value : a.id < b.id;
  };
  // Often the file's own order.
  if (!std::is_sorted(index.begin(), index.end(), isBefore)) {
    std::sort(index.begin(), index.end(), isBefore);
  }
}

// Goes on with the scan to the end of the table; `lastRow` follows it.
void AddToIndex(StoredScan& scan, std::size_t column, std::vector<IndexEntry>& index,
                RowId& lastRow) {
  while (scan.Next()) {
    if (const auto value = scan.GetInteger(column)) index.push_back({*value, scan.Id()});
    lastRow = scan.Id();
  }
}

}  // namespace

StoredTable::StoredTable(const TableContext& context, std::string name, StoredDefinition definition,
                         const TextDecoder& texts)
    : context_(context),
      layout_(&context.file.Layout()),
      name_(std::move(name)),
      texts_(texts),
      definition_(std::move(definition)) {
  try {
    ownedPages_ = context_.damage.IsListening()
                      ? SalvagePages()
                      : ReadUsageMap(context.file, definition_.ownedPagesMap);
  } catch (const DatabaseError& error) {
    RethrowAt(error, {.table = name_});
  }
}

UsedPages StoredTable::SalvagePages() const {
  UsedPages result;
  bool isMapped = true;
  try {
    result = ReadUsageMap(context_.file, definition_.ownedPagesMap);
  } catch (const DatabaseError& error) {
    ReportDamage(error, {});
    isMapped = false;
  }
  // Without the map of free pages, pages may name a table that they no longer belong to.
  if (isMapped && !context_.survey.KnowsFreePages()) return result;
  std::vector<std::uint32_t> all;
  std::ranges::set_union(result.pages, context_.survey.PagesOf(definition_.page),
                         std::back_inserter(all));
  for (std::size_t i = 0, mapped = 0; isMapped && i < all.size(); ++i) {
    if (mapped < result.pages.size() && result.pages[mapped] == all[i]) {
      ++mapped;
      continue;
    }
    ReportDamage(DatabaseError({}, "the page belongs to the table, whose map leaves it out"),
                 {.page = all[i]});
  }
  result.pages = std::move(all);
  return result;
}

std::optional<std::size_t> StoredTable::FindColumn(std::string_view name) const {
  const auto& columns = definition_.columns;
  const auto found = std::find_if(columns.begin(), columns.end(), [name](const Column& column) {
    return EqualsIgnoringAsciiCase(column.name, name);
  });
  if (found == columns.end()) return std::nullopt;
  return static_cast<std::size_t>(found - columns.begin());
}

std::unique_ptr<TableScan> StoredTable::OpenScan() const {
  return std::make_unique<StoredScan>(*this);
}

std::unique_ptr<Row> StoredTable::ReadRow(RowId id) const {
  const auto& pages = ownedPages_.pages;
  if (!std::binary_search(pages.begin(), pages.end(), id.Page())) return nullptr;
  auto row = std::make_unique<StoredRow>(*this);
  try {
    row->UsePage(ReadDataPage(id.Page()));
  } catch (const DatabaseError& error) {
    ReportDamage(error, {.page = id.Page()});
    return nullptr;
  }
  return row->StandOn(id.Slot()) ? std::move(row) : nullptr;
}

std::span<const IndexEntry> StoredTable::IntegerIndex(std::size_t column) const {
  return GetIndex(column).entries;
}

std::span<const IndexEntry> StoredTable::WholeIntegerIndex(std::size_t column) const {
  ColumnIndex& index = GetIndex(column);
  if (index.isWhole) return index.entries;
  // What ended the scan is asked again: a failed read may succeed now.
  std::vector<IndexEntry> rest;
  RowId lastRow = index.lastRow;
  StoredScan scan(*this);
  if (lastRow.packed != 0) scan.ContinueAfter(lastRow);
  AddToIndex(scan, column, rest, lastRow);
  rest.insert(rest.end(), index.entries.begin(), index.entries.end());
  SortIndex(rest);
  outgrownEntries_.push_back(std::move(index.entries));
  index = {.entries = std::move(rest), .lastRow = lastRow, .isWhole = true};
  return index.entries;
}

StoredTable::ColumnIndex& StoredTable::GetIndex(std::size_t column) const {
  auto found = indexes_.find(column);
  if (found == indexes_.end()) found = indexes_.emplace(column, BuildIndex(column)).first;
  return found->second;
}

StoredTable::ColumnIndex StoredTable::BuildIndex(std::size_t column) const {
  ColumnIndex index;
  // The hint may be anything; pages times slots is what there can be at most.
  index.entries.reserve(std::min<std::size_t>(definition_.rowCountHint,
                                              ownedPages_.pages.size() * MAX_SLOTS_PER_PAGE));
  try {
    StoredScan scan(*this);
    AddToIndex(scan, column, index.entries, index.lastRow);
    index.isWhole = true;
  } catch (const DatabaseError&) {
    // Rows before the damage are found; who looks for another one meets the damage then.
  }
  SortIndex(index.entries);
  index.entries.shrink_to_fit();
  return index;
}

std::uint32_t StoredTable::RowCount() const {
  if (!rowCount_) {
    std::uint32_t count = 0;
    StoredScan scan(*this);
    while (scan.Next())
      ++count;
    rowCount_ = count;
  }
  return *rowCount_;
}

DataPage StoredTable::ReadDataPage(std::uint32_t pageNumber, PageUse use,
                                   std::uint32_t pagesToFollow) const {
  Page page = context_.file.Read(pageNumber, use, pagesToFollow);
  if (!context_.damage.IsListening()) return {std::move(page), *layout_, definition_.page};
  const auto isOwner = [this](std::uint32_t owner) {
    return owner == OWNER_LONG_VALUES || owner == OWNER_USAGE_MAPS || owner == OWNER_GLOBAL_MAP ||
           context_.survey.IsDefinitionPage(owner);
  };
  std::string damage;
  DataPage result(std::move(page), *layout_, definition_.page, isOwner, damage);
  if (!damage.empty()) ReportDamage(DatabaseError({}, damage), {.page = pageNumber});
  return result;
}

void StoredTable::ReportMissingRows(std::uint32_t found) const {
  const std::uint32_t counted = definition_.rowCountHint;
  // The counts of the engine's own tables are not always right.
  if (found >= counted || hasLostRows_ || name_.starts_with(SYSTEM_PREFIX)) return;
  // The count of a table in use may be behind; but none of its rows cannot be all of them.
  if (!context_.damage.IsListening() && found > 0) return;
  ReportDamage(DatabaseError({}, "the table's definition counts " + std::to_string(counted) +
                                     " rows, of which " + std::to_string(found) + " were found"),
               {.page = definition_.page});
}

void StoredTable::CheckColumnCount(std::size_t count) const {
  if (count > 0 && count <= definition_.columnHighWater) return;
  throw DatabaseError({}, "the row has " + std::to_string(count) + " columns, the table " +
                              std::to_string(definition_.columnHighWater));
}

void StoredTable::ReportDamage(const DatabaseError& damage, const ErrorPlace& place) const {
  if (place.column.empty()) hasLostRows_ = true;
  ErrorPlace whole = place;
  whole.file = context_.file.Name();
  whole.table = name_;
  try {
    RethrowAt(damage, whole);
  } catch (const DatabaseError& error) {
    context_.damage.Report(error);
  }
}

std::span<const IndexEntry> FindInIndex(std::span<const IndexEntry> index, std::int32_t value) {
  const std::size_t begin =
      FindEnd(index, GuessPosition(index, value),
              [value](const IndexEntry& entry) { return entry.value < value; });
  const std::size_t end =
      FindEnd(index, begin, [value](const IndexEntry& entry) { return entry.value <= value; });
  return index.subspan(begin, end - begin);
}

}  // namespace nimport::jet
