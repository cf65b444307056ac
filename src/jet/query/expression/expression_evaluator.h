// Expressions bound to the columns of rows, and their evaluation.
#ifndef NIMPORT_JET_QUERY_EXPRESSION_EXPRESSION_EVALUATOR_H_
#define NIMPORT_JET_QUERY_EXPRESSION_EXPRESSION_EVALUATOR_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "jet/query/expression/expression.h"
#include "jet/query/expression/expression_value.h"
#include "jet/query/expression/row_set.h"
#include "jet/value.h"

namespace nimport::jet {

class LikePattern;
class LiteralSet;

struct BoundExpression;
// Shared, because every use of a stored query's column in another query means the same expression.
using BoundPtr = std::shared_ptr<const BoundExpression>;

struct BoundExpression {
  Operation operation = Operation::Literal;
  ColumnType type = ColumnType::Text;  // the one that fits the values best
  Value literal;                       // Text is in the rows' code page
  TableNumber tableNumber = 0;         // of Column
  std::size_t column = 0;              // of Column: position in its table
  TableSet tables;                     // all that are read here and beneath
  std::size_t depth = 1;
  std::size_t weight = 1;                      // operations that one evaluation takes
  std::shared_ptr<const LikePattern> pattern;  // of Like with a literal pattern; else null
  std::shared_ptr<const LiteralSet> choices;  // of In with literals alone to choose from; else null
  std::vector<BoundPtr> operands;
};

[[nodiscard]] BoundPtr BindLiteral(const Value& utf8Literal, const TextRules& texts);
[[nodiscard]] BoundPtr BindColumn(TableNumber tableNumber, std::size_t column, ColumnType type);

// Any other operation. Throws SqlError when the whole becomes too deep or too large, or a literal
// pattern is malformed.
[[nodiscard]] BoundPtr BindOperation(Operation operation, std::vector<BoundPtr> operands,
                                     const TextRules& texts);

// `value`, but null while none of `sources` has a row: a computed column of a query that stands on
// the open side of an outer join.
[[nodiscard]] BoundPtr BindNullUnlessMatched(BoundPtr value, TableSet sources);

// Throw DatabaseError when a row cannot be read, a pattern taken from a row is malformed, or a text
// becomes too long, or the query's budget does not last.
[[nodiscard]] Value Evaluate(const BoundExpression& expression, const RowSet& rows);
[[nodiscard]] Truth EvaluateCondition(const BoundExpression& expression, const RowSet& rows);
// As ToInteger() reads it. Spares the Value where the expression is a plain column.
[[nodiscard]] std::optional<std::int32_t> EvaluateInteger(const BoundExpression& expression,
                                                          const RowSet& rows);

// Whether all of `conditions` are true.
[[nodiscard]] bool AllTrue(const std::vector<BoundPtr>& conditions, const RowSet& rows);

}  // namespace nimport::jet

#endif  // NIMPORT_JET_QUERY_EXPRESSION_EXPRESSION_EVALUATOR_H_
