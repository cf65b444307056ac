// Expressions of stored queries as they are written: columns, conditions, sort keys.
#ifndef NIMPORT_JET_QUERY_EXPRESSION_EXPRESSION_H_
#define NIMPORT_JET_QUERY_EXPRESSION_EXPRESSION_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "jet/value.h"

namespace nimport::jet {

enum class Operation : std::uint8_t {
  Literal,
  Column,
  AllColumns,  // "*" or "source.*"
  Negate,
  Add,
  Subtract,
  Multiply,
  Divide,
  DivideWhole,
  Modulo,
  Power,
  Concatenate,
  Equal,
  NotEqual,
  Less,
  LessOrEqual,
  Greater,
  GreaterOrEqual,
  Like,
  In,       // the first operand among the others
  Between,  // the first operand from the second to the third
  IsNull,
  Not,
  And,                // of two or more operands
  Or,                 // of two or more operands
  NullUnlessMatched,  // made when a query is bound: null unless a row of some sources is there
};

struct Expression {
  Operation operation = Operation::Literal;
  Value literal;       // Text is UTF-8 here
  std::string source;  // of Column and AllColumns: as written, empty when not named
  std::string name;    // of Column
  std::vector<std::unique_ptr<Expression>> operands;
  std::size_t depth = 1;  // of the tree beneath, this one included
};

// Deeper trees are refused, so that whatever walks one may recurse. Jet itself takes fifty pairs of
// parentheses.
inline constexpr std::size_t MAX_EXPRESSION_DEPTH = 200;

}  // namespace nimport::jet

#endif  // NIMPORT_JET_QUERY_EXPRESSION_EXPRESSION_H_
