#include "jet/stored_table.h"

#include <algorithm>
#include <utility>

#include "jet/ascii_case.h"
#include "jet/stored_row.h"

namespace nimport::jet {

StoredTable::StoredTable(const TableContext& context, std::string name,
                         std::uint32_t definitionPage, const TextDecoder& names,
                         const TextDecoder& texts)
    : context_(context), layout_(&context.file.Layout()), name_(std::move(name)), texts_(texts) {
  try {
    definition_ = ReadTableDefinition(context.file, definitionPage, names);
    ownedPages_ = ReadUsageMap(context.file, definition_.ownedPagesMap);
  } catch (const DatabaseError& error) {
    RethrowAt(error, {.table = name_});
  }
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
  auto found = indexes_.find(column);
  if (found == indexes_.end()) found = indexes_.emplace(column, BuildIndex(column)).first;
  return found->second;
}

std::vector<IndexEntry> StoredTable::BuildIndex(std::size_t column) const {
  std::vector<IndexEntry> index;
  // The hint may be anything; pages times slots is what there can be at most.
  index.reserve(std::min<std::size_t>(definition_.rowCountHint,
                                      ownedPages_.pages.size() * MAX_SLOTS_PER_PAGE));
  StoredScan scan(*this);
  while (scan.Next()) {
    if (const auto value = scan.GetInteger(column)) index.push_back({*value, scan.Id()});
  }
  const auto isBefore = [](const IndexEntry& a, const IndexEntry& b) {
    return a.value != b.value ? a.value < b.value : a.id < b.id;
  };
  // Often the file's own order.
  if (!std::is_sorted(index.begin(), index.end(), isBefore)) {
    std::sort(index.begin(), index.end(), isBefore);
  }
  index.shrink_to_fit();
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
  return {context_.file.Read(pageNumber, use, pagesToFollow), *layout_, definition_.page};
}

void StoredTable::ReportDamage(const DatabaseError& damage, const ErrorPlace& place) const {
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
  // Two searches in place of equal_range, which clang 14 does not compile with this library.
  const auto begin = std::ranges::lower_bound(index, value, {}, &IndexEntry::value);
  const auto end = std::ranges::upper_bound(begin, index.end(), value, {}, &IndexEntry::value);
  return {begin, end};
}

}  // namespace nimport::jet
