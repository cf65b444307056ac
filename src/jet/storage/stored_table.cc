#include "jet/storage/stored_table.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "jet/storage/damage.h"
#include "jet/storage/page_file.h"
#include "jet/storage/page_survey.h"
#include "text/ascii.h"

namespace nimport::jet {
namespace {

constexpr std::string_view SYSTEM_PREFIX = "MSys";

// Goes on with the scan to the end of the table; `lastRow` follows it.
void AddToIndex(StoredScan& scan, std::size_t column, std::vector<IndexEntry>& index,
                RowId& lastRow) {
  while (scan.Next()) {
    const RowId id = scan.Row().Id();
    if (const auto value = scan.Row().GetInteger(column)) index.push_back({*value, id.packed});
    lastRow = id;
  }
}

}  // namespace

StoredTable::StoredTable(const TableContext& context, std::string name, StoredDefinition definition,
                         const TextDecoder& texts)
    : context_(context),
      isSalvaging_(context.damage.IsSalvaging()),
      layout_(&context.file.Layout()),
      name_(std::move(name)),
      texts_(texts),
      definition_(std::move(definition)) {
  try {
    ownedPages_ =
        isSalvaging_ ? SalvagePages() : ReadUsageMap(context.file, definition_.ownedPagesMap);
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
    return text::EqualsIgnoringCase(column.name, name);
  });
  if (found == columns.end()) return std::nullopt;
  return static_cast<std::size_t>(found - columns.begin());
}

std::unique_ptr<StoredRow> StoredTable::ReadRow(RowId id) const {
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

std::uint64_t StoredTable::PagesRead() const {
  return context_.file.PagesRead();
}

DataPage StoredTable::ReadDataPage(std::uint32_t pageNumber) const {
  return ReadDataPage(pageNumber, ReadHint::Reuse, 0);
}

DataPage StoredTable::ReadDataPage(std::uint32_t pageNumber, ReadHint hint,
                                   std::uint32_t pagesToFollow) const {
  Page page = context_.file.Read(pageNumber, hint, pagesToFollow);
  if (!isSalvaging_) return {std::move(page), *layout_, definition_.page};
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
  // The count of a table in use may be too old; but none of its rows cannot be all of them.
  if (!isSalvaging_ && found > 0) return;
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

}  // namespace nimport::jet
