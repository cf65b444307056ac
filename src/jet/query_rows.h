// The rows that a query's result stands on: one row id per table.
#ifndef NIMPORT_JET_QUERY_ROWS_H_
#define NIMPORT_JET_QUERY_ROWS_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "jet/expression_evaluator.h"
#include "jet/expression_text.h"
#include "jet/table.h"

namespace nimport::jet {

// RowId::packed where an outer join found no row. No file is so long that it has this page.
inline constexpr std::uint32_t NO_ROW = 0xFFFFFFFF;

// How many combinations of rows a join looks at between two rows of its result before it gives up:
// some seconds. A join by indexes looks at no more than its driving rows.
inline constexpr std::uint64_t MAX_COMBINATIONS = std::uint64_t{1} << 26;

// What the parts of one prepared query share.
struct QueryContext {
  std::string fileName;   // UTF-8
  std::string queryName;  // UTF-8
  TextRules texts;
  std::vector<std::shared_ptr<const Table>> tables;  // by slot
  std::uint64_t maxCombinations = MAX_COMBINATIONS;
};

[[noreturn]] void FailQuery(const QueryContext& context, const std::string& reason);

// One row of each table, read when a value is first asked for.
class RowSet : public ColumnValues {
 public:
  // All rows are absent at first. Borrows `context`.
  explicit RowSet(const QueryContext& context);

  void SetId(Slot slot, std::uint32_t id);
  // Borrows `row` until the slot is set again. To be called again when the row has moved.
  void SetRow(Slot slot, const Row& row);

  [[nodiscard]] std::uint32_t Id(Slot slot) const { return entries_[slot].id; }
  [[nodiscard]] Value Get(Slot slot, std::size_t column) const override;
  [[nodiscard]] std::optional<std::int32_t> GetInteger(Slot slot, std::size_t column) const;
  [[nodiscard]] bool IsPresent(Slot slot) const override { return Id(slot) != NO_ROW; }

 private:
  struct Entry {
    std::uint32_t id = NO_ROW;
    const Row* row = nullptr;  // null until read
    std::unique_ptr<Row> owned;
  };

  [[nodiscard]] const Row& Read(Slot slot) const;
  [[noreturn]] void FailGone(Slot slot, RowId id) const;

  const QueryContext* context_;
  mutable std::vector<Entry> entries_;
};

// An expression as ToInteger() reads it. Spares the Value where it is a plain column.
[[nodiscard]] std::optional<std::int32_t> EvaluateInteger(const BoundExpression& expression,
                                                          const RowSet& rows,
                                                          const TextRules& texts);

// Rows of several tables that were put together, in order: four bytes per table and row.
class RowList {
 public:
  explicit RowList(std::vector<Slot> slots) : slots_(std::move(slots)) {}

  [[nodiscard]] std::size_t Size() const { return size_; }
  [[nodiscard]] std::span<const std::uint32_t> Ids(std::size_t row) const;

  // Throws DatabaseError when the list grows beyond what any store's mails need.
  void Add(const RowSet& rows, const QueryContext& context);
  void Put(std::size_t row, RowSet& rows) const;

  // Keeps the named rows only, in the order in which they are named.
  void Select(std::span<const std::uint32_t> rows);
  void ShrinkToFit() { ids_.shrink_to_fit(); }

 private:
  std::vector<Slot> slots_;
  std::vector<std::uint32_t> ids_;
  std::size_t size_ = 0;
};

}  // namespace nimport::jet

#endif  // NIMPORT_JET_QUERY_ROWS_H_
