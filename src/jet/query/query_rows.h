// The rows that a query's result stands on: one row id per table.
#ifndef NIMPORT_JET_QUERY_QUERY_ROWS_H_
#define NIMPORT_JET_QUERY_QUERY_ROWS_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "jet/query/expression/expression_evaluator.h"
#include "jet/query/expression/expression_text.h"
#include "jet/query/expression/query_budget.h"
#include "jet/storage/table.h"

namespace nimport::jet {

// RowId::packed where an outer join found no row. No file is so long that it has this page.
inline constexpr std::uint32_t NO_ROW = 0xFFFFFFFF;

// What the parts of one prepared query share.
struct QueryContext {
  std::string fileName;   // UTF-8
  std::string queryName;  // UTF-8
  TextRules texts;
  std::vector<std::shared_ptr<const Table>> tables;  // by slot
  std::unique_ptr<QueryBudget> budget;
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
  [[nodiscard]] const Value& Borrow(Slot slot, std::size_t column) const override;
  [[nodiscard]] std::optional<std::int32_t> GetInteger(Slot slot, std::size_t column) const;
  [[nodiscard]] bool IsPresent(Slot slot) const override { return Id(slot) != NO_ROW; }

 private:
  // Values that were borrowed of one row. Their places are used again for the next row.
  class LentValues {
   public:
    // Null when the column has not been borrowed.
    [[nodiscard]] const Value* Find(std::size_t column) const;
    const Value& Add(std::size_t column, Value value, QueryBudget& budget);
    void Clear();
    [[nodiscard]] std::size_t Count() const { return count_; }

   private:
    struct Lent {
      std::size_t column = 0;
      Value value;
      MemoryHold hold;
    };
    std::vector<std::unique_ptr<Lent>> places_;
    std::size_t count_ = 0;
  };

  struct Entry {
    std::uint32_t id = NO_ROW;
    const Row* row = nullptr;  // null until read
    std::unique_ptr<Row> owned;
    LentValues lent;
  };

  [[nodiscard]] const Row& Read(Slot slot) const;
  [[noreturn]] void FailGone(Slot slot, RowId id) const;

  const QueryContext* context_;
  mutable std::vector<Entry> entries_;
};

// An expression as ToInteger() reads it. Spares the Value where it is a plain column.
[[nodiscard]] std::optional<std::int32_t> EvaluateInteger(const BoundExpression& expression,
                                                          const RowSet& rows,
                                                          const QueryContext& context);

// Rows of several tables that were put together, in order: four bytes per table and row.
class RowList {
 public:
  // Borrows `budget`, whose memory the rows take.
  RowList(std::vector<Slot> slots, QueryBudget& budget)
      : slots_(std::move(slots)), budget_(&budget), ids_(budget) {}

  [[nodiscard]] std::size_t Size() const { return size_; }
  [[nodiscard]] std::span<const std::uint32_t> Ids(std::size_t row) const;

  void Add(const RowSet& rows);
  void Put(std::size_t row, RowSet& rows) const;

  // Keeps the named rows only, in the order in which they are named.
  void Select(std::span<const std::uint32_t> rows);
  void ShrinkToFit() { ids_.ShrinkToFit(); }

 private:
  std::vector<Slot> slots_;
  QueryBudget* budget_;
  HeldVector<std::uint32_t> ids_;
  std::size_t size_ = 0;
};

}  // namespace nimport::jet

#endif  // NIMPORT_JET_QUERY_QUERY_ROWS_H_
