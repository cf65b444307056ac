// The rows that expressions are evaluated over.
#ifndef NIMPORT_JET_QUERY_EXPRESSION_ROW_SET_H_
#define NIMPORT_JET_QUERY_EXPRESSION_ROW_SET_H_

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "jet/query/expression/expression_text.h"
#include "jet/query/expression/query_budget.h"
#include "jet/value.h"

namespace nimport::jet {

class StoredRow;
class StoredTable;

// The place of one table among all tables that a query reads; the same table may have several.
using TableNumber = std::uint8_t;

// Jet allows 32 tables in a query; stored queries that use others may reach more.
inline constexpr std::size_t MAX_TABLES = 64;
using TableSet = std::bitset<MAX_TABLES>;

// RowId::packed where an outer join found no row. No file is so long that it has this page.
inline constexpr std::uint32_t NO_ROW = 0xFFFFFFFF;

// What the parts of one prepared query share.
struct QueryContext {
  std::string fileName;   // UTF-8
  std::string queryName;  // UTF-8
  TextRules texts;
  std::vector<std::shared_ptr<const StoredTable>> tables;  // by TableNumber
  std::unique_ptr<QueryBudget> budget;
};

[[noreturn]] void FailQuery(const QueryContext& context, const std::string& reason);

// One row of each table, read when a value is first asked for: what expressions are evaluated over.
class RowSet {
 public:
  // All rows are absent at first. Borrows `context`.
  explicit RowSet(const QueryContext& context);
  ~RowSet();

  [[nodiscard]] const QueryContext& Context() const { return *context_; }

  void SetId(TableNumber tableNumber, std::uint32_t id);
  // Borrows `row` until the table is set again. To be called again when the row has moved.
  void SetRow(TableNumber tableNumber, const StoredRow& row);

  [[nodiscard]] std::uint32_t Id(TableNumber tableNumber) const { return entries_[tableNumber].id; }
  // Null where there is no row.
  [[nodiscard]] Value Get(TableNumber tableNumber, std::size_t column) const;
  // The same, kept until the row of the table is another one: an expression that names a column
  // many times reads and holds its text once.
  [[nodiscard]] const Value& Borrow(TableNumber tableNumber, std::size_t column) const;
  [[nodiscard]] std::optional<std::int32_t> GetInteger(TableNumber tableNumber,
                                                       std::size_t column) const;
  [[nodiscard]] bool IsPresent(TableNumber tableNumber) const { return Id(tableNumber) != NO_ROW; }

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
    const StoredRow* row = nullptr;  // null until read
    std::unique_ptr<StoredRow> owned;
    LentValues lent;
  };

  [[nodiscard]] const StoredRow& Read(TableNumber tableNumber) const;
  [[noreturn]] void FailGone(TableNumber tableNumber) const;

  const QueryContext* context_;
  mutable std::vector<Entry> entries_;
};

}  // namespace nimport::jet

#endif  // NIMPORT_JET_QUERY_EXPRESSION_ROW_SET_H_
