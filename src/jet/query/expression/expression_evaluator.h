// Expressions bound to the columns of rows, and their evaluation.
#ifndef NIMPORT_JET_QUERY_EXPRESSION_EXPRESSION_EVALUATOR_H_
#define NIMPORT_JET_QUERY_EXPRESSION_EXPRESSION_EVALUATOR_H_

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "jet/query/expression/expression.h"
#include "jet/query/expression/expression_in.h"
#include "jet/query/expression/expression_like.h"
#include "jet/query/expression/expression_text.h"
#include "jet/query/expression/expression_value.h"
#include "jet/query/expression/query_budget.h"
#include "jet/value.h"

namespace nimport::jet {

// The place of one table among all tables that a query reads; the same table may have several.
using Slot = std::uint8_t;

// Jet allows 32 tables in a query; stored queries that use others may reach more.
inline constexpr std::size_t MAX_SLOTS = 64;
using SlotSet = std::bitset<MAX_SLOTS>;

struct BoundExpression;
// Shared, because every use of a stored query's column in another query means the same expression.
using BoundPtr = std::shared_ptr<const BoundExpression>;

struct BoundExpression {
  Operation operation = Operation::Literal;
  ColumnType type = ColumnType::Text;  // the one that fits the values best
  Value literal;                       // Text is in the rows' code page
  Slot slot = 0;                       // of Column
  std::size_t column = 0;              // of Column: position in its table
  SlotSet slots;                       // all that are read here and beneath
  std::size_t depth = 1;
  std::size_t weight = 1;              // operations that one evaluation takes
  std::optional<LikePattern> pattern;  // of Like with a literal pattern
  std::optional<LiteralSet> choices;   // of In with nothing but literals to choose from
  std::vector<BoundPtr> operands;
};

// The rows that an expression is evaluated over.
class ColumnValues {
 public:
  virtual ~ColumnValues() = default;
  // Null where there is no row.
  [[nodiscard]] virtual Value Get(Slot slot, std::size_t column) const = 0;
  // The same, kept until the row of the slot is another one: an expression that names a column many
  // times reads and holds its text once.
  [[nodiscard]] virtual const Value& Borrow(Slot slot, std::size_t column) const = 0;
  [[nodiscard]] virtual bool IsPresent(Slot slot) const = 0;
};

[[nodiscard]] BoundPtr BindLiteral(const Value& utf8Literal, const TextRules& texts);
[[nodiscard]] BoundPtr BindColumn(Slot slot, std::size_t column, ColumnType type);

// Any other operation. Throws SqlError when the whole becomes too deep or too large, or a literal
// pattern is malformed.
[[nodiscard]] BoundPtr BindOperation(Operation operation, std::vector<BoundPtr> operands,
                                     const TextRules& texts);

// `value`, but null while none of `sources` has a row: a computed column of a query that stands on
// the open side of an outer join.
[[nodiscard]] BoundPtr BindIfPresent(BoundPtr value, SlotSet sources);

// Throw DatabaseError when a row cannot be read, a pattern taken from a row is malformed, or a text
// becomes too long, or `budget` does not last.
[[nodiscard]] Value Evaluate(const BoundExpression& expression, const ColumnValues& values,
                             const TextRules& texts, QueryBudget& budget);
[[nodiscard]] Truth EvaluateCondition(const BoundExpression& expression, const ColumnValues& values,
                                      const TextRules& texts, QueryBudget& budget);

}  // namespace nimport::jet

#endif  // NIMPORT_JET_QUERY_EXPRESSION_EXPRESSION_EVALUATOR_H_
