#include "jet/query_rows.h"

#include <utility>

#include "jet/database_error.h"

namespace nimport::jet {
namespace {

// 256 MiB: sixteen million mails joined with their texts. A cross product does not stop by itself.
constexpr std::size_t MAX_LIST_IDS = std::size_t{64} << 20;

}  // namespace

void FailQuery(const QueryContext& context, const std::string& reason) {
  ErrorPlace place;
  place.file = context.fileName;
  place.table = context.queryName;
  throw DatabaseError(std::move(place), reason);
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
  entry.id = id;
  entry.row = nullptr;
  entry.owned.reset();
}

void RowSet::SetRow(Slot slot, const Row& row) {
  Entry& entry = entries_[slot];
  entry.id = row.Id().packed;
  entry.row = &row;
  entry.owned.reset();
}

const Row& RowSet::Read(Slot slot) const {
  Entry& entry = entries_[slot];
  if (entry.row == nullptr) {
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
  return IsPresent(slot) ? Read(slot).Get(column) : Value();
}

std::optional<std::int32_t> RowSet::GetInteger(Slot slot, std::size_t column) const {
  if (!IsPresent(slot)) return std::nullopt;
  return Read(slot).GetInteger(column);
}

std::optional<std::int32_t> EvaluateInteger(const BoundExpression& expression, const RowSet& rows,
                                            const TextRules& texts) {
  if (expression.operation == Operation::Column) {
    return rows.GetInteger(expression.slot, expression.column);
  }
  return ToInteger(Evaluate(expression, rows, texts));
}

std::span<const std::uint32_t> RowList::Ids(std::size_t row) const {
  return std::span(ids_).subspan(row * slots_.size(), slots_.size());
}

void RowList::Add(const RowSet& rows, const QueryContext& context) {
  if (ids_.size() + slots_.size() > MAX_LIST_IDS) {
    FailQuery(context, "the query has more than " + std::to_string(size_) +
                           " rows to sort or to join, which is too many");
  }
  for (const Slot slot : slots_)
    ids_.push_back(rows.Id(slot));
  ++size_;
}

void RowList::Put(std::size_t row, RowSet& rows) const {
  const auto ids = Ids(row);
  for (std::size_t i = 0; i < slots_.size(); ++i)
    rows.SetId(slots_[i], ids[i]);
}

void RowList::Select(std::span<const std::uint32_t> rows) {
  std::vector<std::uint32_t> selected;
  selected.reserve(rows.size() * slots_.size());
  for (const std::uint32_t row : rows) {
    const auto ids = Ids(row);
    selected.insert(selected.end(), ids.begin(), ids.end());
  }
  ids_ = std::move(selected);
  size_ = rows.size();
}

}  // namespace nimport::jet
