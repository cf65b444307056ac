// Reads the parts of a stored query off its rows in the system table.
#ifndef NIMPORT_JET_QUERY_QUERY_READER_H_
#define NIMPORT_JET_QUERY_QUERY_READER_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "jet/format/stored_query.h"

namespace nimport::jet {

// A select query in its clauses. Names and texts are UTF-8; expressions are not parsed yet.
struct SelectStatement {
  struct Source {
    std::string name;  // of a table or a stored query
    std::string alias;
    [[nodiscard]] const std::string& KnownAs() const { return alias.empty() ? name : alias; }
  };
  struct Column {
    std::string expression;
    std::string alias;
  };
  struct Join {
    JoinKind kind = JoinKind::Inner;
    std::string left;  // what the source is known as
    std::string right;
    std::string condition;
  };
  struct Order {
    std::string expression;
    bool isDescending = false;
  };

  std::vector<Source> sources;
  std::vector<Column> columns;
  std::vector<Join> joins;
  std::vector<std::string> conditions;  // of WHERE; all must hold
  std::vector<Order> order;
  bool isDistinct = false;
  bool isDistinctRow = false;
  std::optional<std::uint32_t> top;
  bool isTopPercent = false;
};

// Throws SqlError when it is no select query or has a clause that is not evaluated.
[[nodiscard]] SelectStatement ReadSelect(const StoredQuery& query);

}  // namespace nimport::jet

#endif  // NIMPORT_JET_QUERY_QUERY_READER_H_
