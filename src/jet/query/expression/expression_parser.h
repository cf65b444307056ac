// Parses expressions of stored queries.
#ifndef NIMPORT_JET_QUERY_EXPRESSION_EXPRESSION_PARSER_H_
#define NIMPORT_JET_QUERY_EXPRESSION_EXPRESSION_PARSER_H_

#include <memory>
#include <string_view>

#include "jet/query/expression/expression.h"

namespace nimport::jet {

// Reads the whole of `sql`, which is UTF-8. Any bytes may come. Throws SqlError naming what is
// malformed or beyond what is evaluated.
[[nodiscard]] std::unique_ptr<Expression> ParseExpression(std::string_view sql);

}  // namespace nimport::jet

#endif  // NIMPORT_JET_QUERY_EXPRESSION_EXPRESSION_PARSER_H_
