#include "jet/query/row_list.h"

namespace nimport::jet {

std::span<const std::uint32_t> RowList::Ids(std::size_t row) const {
  return std::span(ids_.Items()).subspan(row * tables_.size(), tables_.size());
}

void RowList::Add(const RowSet& rows) {
  for (const TableNumber tableNumber : tables_)
    ids_.PushBack(rows.Id(tableNumber));
  ++size_;
}

void RowList::Put(std::size_t row, RowSet& rows) const {
  const auto ids = Ids(row);
  for (std::size_t i = 0; i < tables_.size(); ++i)
    rows.SetId(tables_[i], ids[i]);
}

void RowList::Select(std::span<const std::uint32_t> rows) {
  HeldVector<std::uint32_t> selected(*budget_);
  selected.Reserve(rows.size() * tables_.size());
  for (const std::uint32_t row : rows) {
    for (const std::uint32_t id : Ids(row))
      selected.PushBack(id);
  }
  ids_ = std::move(selected);
  size_ = rows.size();
}

}  // namespace nimport::jet
