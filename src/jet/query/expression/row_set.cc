#include "jet/query/expression/row_set.h"

#include <string_view>
#include <utility>

#include "jet/database_error.h"
#include "jet/storage/stored_table.h"

namespace nimport::jet {

void FailQuery(const QueryContext& context, const std::string& reason) {
  context.budget->Fail(reason);
}

const Value* RowSet::LentValues::Find(std::size_t column) const {
  for (std::size_t i = 0; i < count_; ++i) {
    if (places_[i]->column == column) return &places_[i]->value;
  }
  return nullptr;
}

const Value& RowSet::LentValues::Add(std::size_t column, Value value, QueryBudget& budget) {
  MemoryHold hold(budget, ToText(value).value_or(std::string_view()).size());
  if (count_ == places_.size()) places_.push_back(std::make_unique<Lent>());
  Lent& lent = *places_[count_++];
  lent = {.column = column, .value = std::move(value), .hold = std::move(hold)};
  return lent.value;
}

void RowSet::LentValues::Clear() {
  while (count_ > 0)
    *places_[--count_] = {};
}

RowSet::RowSet(const QueryContext& context) : context_(&context), entries_(context.tables.size()) {}

RowSet::~RowSet() = default;

void RowSet::SetId(TableNumber tableNumber, std::uint32_t id) {
  Entry& entry = entries_[tableNumber];
  if (entry.owned && entry.id == id) {
    entry.row = entry.owned.get();
    return;
  }
  entry.lent.Clear();
  entry.id = id;
  entry.row = nullptr;
  entry.owned.reset();
}

void RowSet::SetRow(TableNumber tableNumber, const StoredRow& row) {
  Entry& entry = entries_[tableNumber];
  entry.lent.Clear();
  entry.id = row.Id().packed;
  entry.row = &row;
  entry.owned.reset();
}

const StoredRow& RowSet::Read(TableNumber tableNumber) const {
  Entry& entry = entries_[tableNumber];
  if (entry.row == nullptr) {
    context_->budget->Work(STEPS_PER_ROW_READ);
    entry.owned = context_->tables[tableNumber]->ReadRow(RowId{entry.id});
    if (!entry.owned) FailGone(tableNumber);
    entry.row = entry.owned.get();
  }
  return *entry.row;
}

void RowSet::FailGone(TableNumber tableNumber) const {
  const RowId id{entries_[tableNumber].id};
  ErrorPlace place;
  place.file = context_->fileName;
  place.page = id.Page();
  place.table = context_->tables[tableNumber]->Name();
  place.slot = id.Slot();
  throw DatabaseError(std::move(place), "the row is no longer there");
}

Value RowSet::Get(TableNumber tableNumber, std::size_t column) const {
  if (!IsPresent(tableNumber)) return {};
  QueryBudget& budget = *context_->budget;
  budget.Work(STEPS_PER_VALUE);
  const StoredRow& row = Read(tableNumber);
  const StoredTable& table = *context_->tables[tableNumber];
  const ColumnType type = table.Columns()[column].type;
  if (type != ColumnType::Memo && type != ColumnType::Ole) return row.Get(column);
  // A long value lies on pages of its own, which a damaged one may have any number of.
  const std::uint64_t before = table.PagesRead();
  Value value = row.Get(column);
  budget.Work(STEPS_PER_PAGE * (table.PagesRead() - before));
  return value;
}

const Value& RowSet::Borrow(TableNumber tableNumber, std::size_t column) const {
  LentValues& lent = entries_[tableNumber].lent;
  context_->budget->Work(lent.Count());
  if (const Value* found = lent.Find(column)) return *found;
  return lent.Add(column, Get(tableNumber, column), *context_->budget);
}

std::optional<std::int32_t> RowSet::GetInteger(TableNumber tableNumber, std::size_t column) const {
  if (!IsPresent(tableNumber)) return std::nullopt;
  context_->budget->Work(STEPS_PER_VALUE);
  return Read(tableNumber).GetInteger(column);
}

}  // namespace nimport::jet
