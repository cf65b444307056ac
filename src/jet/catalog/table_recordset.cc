#include "jet/catalog/table_recordset.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "jet/catalog/jet_catalog.h"
#include "jet/format/name_text.h"
#include "text/ascii.h"

namespace nimport::jet {
namespace {

constexpr std::uint64_t BOOKMARK_AT_END = std::numeric_limits<std::uint64_t>::max();

bool HaveSameColumns(const StoredTable& a, const StoredTable& b) {
  return std::equal(
      a.Columns().begin(), a.Columns().end(), b.Columns().begin(), b.Columns().end(),
      [](const Column& x, const Column& y) { return x.name == y.name && x.type == y.type; });
}

}  // namespace

OpenedTable::OpenedTable(JetCatalog& catalog, std::string name)
    : catalog_(&catalog),
      name_(std::move(name)),
      generation_(catalog.Generation()),
      table_(Find()) {
  for (const Column& column : table_->Columns()) {
    columns_.push_back({.name = FromUtf8(column.name, catalog.TextCodePage(), catalog.Converter()),
                        .type = column.type});
  }
}

std::shared_ptr<const StoredTable> OpenedTable::Find() const {
  auto table = catalog_->FindTable(name_);
  if (!table) {
    throw DatabaseError({.file = catalog_->FileName(), .table = name_}, "there is no such table");
  }
  return table;
}

bool OpenedTable::Refresh() {
  const std::uint64_t generation = catalog_->Generation();
  if (generation == generation_) return false;
  auto table = Find();
  if (!HaveSameColumns(*table, *table_)) {
    throw DatabaseError({.file = catalog_->FileName(), .table = name_},
                        "the table's columns have changed since it was opened");
  }
  table_ = std::move(table);
  generation_ = generation;
  return true;
}

TableRecordset::TableRecordset(OpenedTable table) : table_(std::move(table)) {
  MoveFirst();
}

void TableRecordset::MoveFirst() {
  isEof_ = true;
  table_.Refresh();
  found_ = {};
  scan_ = std::make_unique<StoredScan>(*table_.Table());
  isEof_ = !scan_->Next();
}

void TableRecordset::MoveNext() {
  RequireRow();
  isEof_ = true;
  isEof_ = !scan_->Next();
}

Value TableRecordset::GetFieldValue(std::string_view columnName) const {
  return GetFieldValue(RequireColumn(columnName));
}

Value TableRecordset::GetFieldValue(std::size_t column) const {
  RequireRow();
  if (column >= table_.Columns().size()) FailColumn(column);
  return scan_->Row().Get(column);
}

Bookmark TableRecordset::GetBookmark() const {
  return {.position = isEof_ ? BOOKMARK_AT_END : scan_->Row().Id().packed};
}

void TableRecordset::SetBookmark(Bookmark bookmark) {
  if (bookmark.position > std::numeric_limits<std::uint32_t>::max()) {
    isEof_ = true;
    return;
  }
  StandOn({static_cast<std::uint32_t>(bookmark.position)});
}

bool TableRecordset::FindFirst(std::string_view columnName, std::int32_t value) {
  const std::size_t column = RequireColumn(columnName);
  isEof_ = true;
  if (table_.Refresh()) scan_ = std::make_unique<StoredScan>(*table_.Table());
  soughtColumn_ = column;
  soughtValue_ = value;
  found_ = FindInIndex(table_.Table()->IntegerIndex(column), value);
  return StandOnFoundAfter({});
}

bool TableRecordset::FindNext() {
  return !isEof_ && !found_.empty() && StandOnFoundAfter(scan_->Row().Id());
}

bool TableRecordset::StandOnFoundAfter(RowId id) {
  const auto standOnNext = [&] {
    const auto next = std::ranges::upper_bound(found_, id.packed, {}, &IndexEntry::row);
    return StandOnFirst({next, found_.end()});
  };
  if (standOnNext()) return true;
  // A walk over the rows would now meet the damage, if there is any.
  found_ = FindInIndex(table_.Table()->WholeIntegerIndex(soughtColumn_), soughtValue_);
  return standOnNext();
}

bool TableRecordset::StandOnFirst(std::span<const IndexEntry> rows) {
  // Only a row that was damaged since the index was built is not found again.
  const bool found = std::any_of(rows.begin(), rows.end(), [this](const IndexEntry& entry) {
    return StandOn(RowId{entry.row});
  });
  isEof_ = !found;
  return found;
}

bool TableRecordset::StandOn(RowId id) {
  isEof_ = true;
  if (id.packed == 0) return false;
  scan_->ContinueAfter({id.packed - 1});
  isEof_ = !scan_->Next() || scan_->Row().Id() != id;
  return !isEof_;
}

DatabaseError TableRecordset::Error(const std::string& reason) const {
  const JetCatalog& catalog = table_.Catalog();
  return {{.file = catalog.FileName(), .table = table_.Table()->Name()}, reason};
}

std::size_t TableRecordset::RequireColumn(std::string_view columnName) const {
  const auto& columns = table_.Columns();
  const auto found =
      std::find_if(columns.begin(), columns.end(), [columnName](const ColumnInfo& column) {
        return text::EqualsIgnoringCase(column.name, columnName);
      });
  if (found != columns.end()) return static_cast<std::size_t>(found - columns.begin());
  const JetCatalog& catalog = table_.Catalog();
  throw Error("there is no column " +
              ToUtf8(columnName, catalog.TextCodePage(), catalog.Converter()));
}

void TableRecordset::FailAtEnd() const {
  throw Error("the recordset stands at its end");
}

void TableRecordset::FailColumn(std::size_t column) const {
  throw Error("there is no column " + std::to_string(column));
}

}  // namespace nimport::jet
