#ifndef NIMPORT_JET_QUERY_ROW_LIST_H_
#define NIMPORT_JET_QUERY_ROW_LIST_H_

#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "jet/query/expression/row_set.h"

namespace nimport::jet {

// Rows of several tables that were put together, in order: four bytes per table and row.
class RowList {
 public:
  // Borrows `budget`, whose memory the rows take.
  RowList(std::vector<TableNumber> tables, QueryBudget& budget)
      : tables_(std::move(tables)), budget_(&budget), ids_(budget) {}

  [[nodiscard]] std::size_t Size() const { return size_; }
  [[nodiscard]] std::span<const std::uint32_t> Ids(std::size_t row) const;

  void Add(const RowSet& rows);
  void Put(std::size_t row, RowSet& rows) const;

  // Keeps the named rows only, in the order in which they are named.
  void Select(std::span<const std::uint32_t> rows);
  void ShrinkToFit() { ids_.ShrinkToFit(); }

 private:
  std::vector<TableNumber> tables_;
  QueryBudget* budget_;
  HeldVector<std::uint32_t> ids_;
  std::size_t size_ = 0;
};

}  // namespace nimport::jet

#endif  // NIMPORT_JET_QUERY_ROW_LIST_H_
