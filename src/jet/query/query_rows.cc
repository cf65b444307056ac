#include "jet/query/query_rows.h"

#include <utility>

#include "jet/database_error.h"

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

RowSet::RowSet(const QueryContext& context) : context_(&context) {
  entries_.resize(context.tables.size());
}

void RowSet::SetId(Slot slot, std::uint32_t id) {
  Entry& entry = entries_[slot];
  if (entry.owned && entry.id == id) {
    entry.row = entry.owned.get();
    return;
  }
  entry.lent.Clear();
  entry.id = id;
  entry.row = nullptr;
  entry.owned.reset();
}

void RowSet::SetRow(Slot slot, const Row& row) {
  Entry& entry = entries_[slot];
  entry.lent.Clear();
  entry.id = row.Id().packed;
  entry.row = &row;
  entry.owned.reset();
}

const Row& RowSet::Read(Slot slot) const {
  Entry& entry = entries_[slot];
  if (entry.row == nullptr) {
    context_->budget->Work(STEPS_PER_ROW_READ);
    entry.owned = context_->tables[slot]->ReadRow(RowId{entry.id});
    if (!entry.owned) FailGone(slot, RowId{entry.id});
    entry.row = entry.owned.get();
  }
  return *entry.row;
}

void RowSet::FailGone(Slot slot, RowId id) const {
  ErrorPlace place;
  place.file = context_->fileName;
  place.page = id.Page();
  place.table = context_->tables[slot]->Name();
  place.slot = id.Slot();
  throw DatabaseError(std::move(place), "the row is no longer there");
}

Value RowSet::Get(Slot slot, std::size_t column) const {
  if (!IsPresent(slot)) return {};
  QueryBudget& budget = *context_->budget;
  budget.Work(STEPS_PER_VALUE);
  const Row& row = Read(slot);
  const Table& table = *context_->tables[slot];
  const ColumnType type = table.Columns()[column].type;
  if (type != ColumnType::Memo && type != ColumnType::Ole) return row.Get(column);
  // A long value lies on pages of its own, which a damaged one may have any number of.
  const std::uint64_t before = table.PagesRead();
  Value value = row.Get(column);
  budget.Work(STEPS_PER_PAGE * (table.PagesRead() - before));
  return value;
}

const Value& RowSet::Borrow(Slot slot, std::size_t column) const {
  LentValues& lent = entries_[slot].lent;
  context_->budget->Work(lent.Count());
  if (const Value* found = lent.Find(column)) return *found;
  return lent.Add(column, Get(slot, column), *context_->budget);
}

std::optional<std::int32_t> RowSet::GetInteger(Slot slot, std::size_t column) const {
  if (!IsPresent(slot)) return std::nullopt;
  context_->budget->Work(STEPS_PER_VALUE);
  return Read(slot).GetInteger(column);
}

std::optional<std::int32_t> EvaluateInteger(const BoundExpression& expression, const RowSet& rows,
                                            const QueryContext& context) {
  if (expression.operation == Operation::Column) {
    return rows.GetInteger(expression.slot, expression.column);
  }
  return ToInteger(Evaluate(expression, rows, context.texts, *context.budget));
}

std::span<const std::uint32_t> RowList::Ids(std::size_t row) const {
  return std::span(ids_.Items()).subspan(row * slots_.size(), slots_.size());
}

void RowList::Add(const RowSet& rows) {
  for (const Slot slot : slots_)
    ids_.PushBack(rows.Id(slot));
  ++size_;
}

void RowList::Put(std::size_t row, RowSet& rows) const {
  const auto ids = Ids(row);
  for (std::size_t i = 0; i < slots_.size(); ++i)
    rows.SetId(slots_[i], ids[i]);
}

void RowList::Select(std::span<const std::uint32_t> rows) {
  HeldVector<std::uint32_t> selected(*budget_);
  selected.Reserve(rows.size() * slots_.size());
  for (const std::uint32_t row : rows) {
    for (const std::uint32_t id : Ids(row))
      selected.PushBack(id);
  }
  ids_ = std::move(selected);
  size_ = rows.size();
}

}  // namespace nimport::jet
