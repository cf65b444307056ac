#ifndef NIMPORT_JET_QUERY_EXPRESSION_SQL_TEXT_H_
#define NIMPORT_JET_QUERY_EXPRESSION_SQL_TEXT_H_

#include <stdexcept>
#include <string>
#include <string_view>

namespace nimport::jet {

// Something in the text of a query that is malformed or beyond what is evaluated. Whoever knows the
// query and the clause turns it into a DatabaseError.
class SqlError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// `text` between double quotes for a message, cut at a whole character when it is long.
[[nodiscard]] std::string Quote(std::string_view text);

}  // namespace nimport::jet

#endif  // NIMPORT_JET_QUERY_EXPRESSION_SQL_TEXT_H_
