#ifndef NIMPORT_JET_QUERY_QUERY_INDEX_H_
#define NIMPORT_JET_QUERY_QUERY_INDEX_H_

#include <cstddef>
#include <cstdint>
#include <span>

#include "jet/query/expression/query_budget.h"

namespace nimport::jet {

// From integers to the numbers of the rows that have them: eight bytes a row. Holds the values of a
// result's column, or hashes of join keys.
class RowNumberIndex {
 public:
  struct Entry {
    std::int32_t value;
    std::uint32_t row;
  };

  RowNumberIndex() = default;
  // Borrows `budget`, whose memory the entries take.
  explicit RowNumberIndex(QueryBudget& budget) : entries_(budget) {}

  void Reserve(std::size_t rows) { entries_.Reserve(rows); }
  void Add(std::int32_t value, std::uint32_t row) {
    entries_.PushBack({.value = value, .row = row});
  }

  // To be called once, after all rows were added.
  void Sort();

  // Ascending row numbers.
  [[nodiscard]] std::span<const Entry> Find(std::int32_t value) const;

 private:
  HeldVector<Entry> entries_;
};

}  // namespace nimport::jet

#endif  // NIMPORT_JET_QUERY_QUERY_INDEX_H_
