#include "jet/query/query_reader.h"

#include <charconv>
#include <system_error>

#include "jet/format/system_layout.h"
#include "jet/query/expression/sql_text.h"
#include "text/ascii.h"

namespace nimport::jet {
namespace {

constexpr unsigned KNOWN_OPTIONS = OPTION_ALL_FIELDS | OPTION_DISTINCT | OPTION_OWNER_ACCESS |
                                   OPTION_DISTINCTROW | OPTION_TOP | OPTION_PERCENT;

[[noreturn]] void FailKind(std::string_view kind) {
  throw SqlError("it is " + std::string(kind) + "; only select queries are evaluated");
}

void CheckKindOfObject(std::uint32_t flags) {
  switch (flags & OBJECT_QUERY_KIND_MASK) {
    case QUERY_SELECT:
      return;
    case QUERY_CROSSTAB:
      FailKind("a crosstab query");
    case QUERY_DELETE:
      FailKind("a delete query");
    case QUERY_UPDATE:
      FailKind("an update query");
    case QUERY_APPEND:
      FailKind("an append query");
    case QUERY_MAKE_TABLE:
      FailKind("a make-table query");
    case QUERY_DATA_DEFINITION:
      FailKind("a data definition query");
    case QUERY_PASS_THROUGH:
      FailKind("a pass-through query");
    case QUERY_UNION:
      FailKind("a UNION query");
    default:
      FailKind("a query of unknown kind");
  }
}

std::uint32_t ParseTopCount(const std::string& text) {
  std::uint32_t count = 0;
  const char* end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, count);
  if (result.ec != std::errc{} || result.ptr != end) {
    throw SqlError("the number after TOP is " + Quote(text));
  }
  return count;
}

void ReadOptions(const QueryRow& row, SelectStatement& select, bool& hasAllColumns) {
  const unsigned options = static_cast<std::uint16_t>(row.flag.value_or(0));
  if ((options & ~KNOWN_OPTIONS) != 0) {
    throw SqlError("it has an unknown option, bits " + std::to_string(options));
  }
  hasAllColumns = (options & OPTION_ALL_FIELDS) != 0;
  select.isDistinct = (options & OPTION_DISTINCT) != 0;
  select.isDistinctRow = (options & OPTION_DISTINCTROW) != 0;
  select.isTopPercent = (options & OPTION_PERCENT) != 0;
  if ((options & OPTION_TOP) != 0) select.top = ParseTopCount(row.name1);
}

SelectStatement::Join ReadJoin(const QueryRow& row) {
  const int kind = row.flag.value_or(0);
  if (kind < static_cast<int>(JoinKind::Inner) || kind > static_cast<int>(JoinKind::Right)) {
    throw SqlError("the join of " + Quote(row.name1) + " and " + Quote(row.name2) +
                   " is of unknown kind " + std::to_string(kind));
  }
  return {.kind = static_cast<JoinKind>(kind),
          .left = row.name1,
          .right = row.name2,
          .condition = row.expression};
}

void ReadRow(const QueryRow& row, SelectStatement& select, bool& hasAllColumns) {
  switch (row.attribute) {
    case ATTRIBUTE_START:
    case ATTRIBUTE_END:
      return;
    case ATTRIBUTE_KIND:
      if (row.flag.value_or(KIND_SELECT) == KIND_SELECT) return;
      throw SqlError("its own rows say that it is no select query but of kind " +
                     std::to_string(*row.flag));
    case ATTRIBUTE_PARAMETER:
      throw SqlError("it asks for the parameter " + Quote(row.name1) +
                     "; parameters are not evaluated");
    case ATTRIBUTE_OPTIONS:
      return ReadOptions(row, select, hasAllColumns);
    case ATTRIBUTE_SOURCE_DATABASE:
      if (row.name1.empty() && row.expression.empty()) return;
      throw SqlError("it reads another database, " + Quote(row.name1 + row.expression));
    case ATTRIBUTE_SOURCE:
      if (row.expression.empty()) {
        select.sources.push_back({.name = row.name1, .alias = row.name2});
        return;
      }
      throw SqlError("its source " + Quote(row.expression) +
                     " is a subquery or lies in another database");
    case ATTRIBUTE_COLUMN:
      select.columns.push_back({.expression = row.expression, .alias = row.name1});
      return;
    case ATTRIBUTE_JOIN:
      select.joins.push_back(ReadJoin(row));
      return;
    case ATTRIBUTE_WHERE:
      select.conditions.push_back(row.expression);
      return;
    case ATTRIBUTE_GROUP_BY:
      throw SqlError("its GROUP BY " + Quote(row.expression) + " is not evaluated");
    case ATTRIBUTE_HAVING:
      throw SqlError("its HAVING " + Quote(row.expression) + " is not evaluated");
    case ATTRIBUTE_ORDER_BY:
      select.order.push_back(
          {.expression = row.expression,
           .isDescending = text::EqualsIgnoringCase(row.name1, ORDER_DESCENDING)});
      return;
    default:
      throw SqlError("it has a part of unknown kind " + std::to_string(row.attribute));
  }
}

}  // namespace

SelectStatement ReadSelect(const StoredQuery& query) {
  CheckKindOfObject(query.flags);
  if (query.rows.size() > MAX_QUERY_ROWS) {
    throw SqlError("it has more than " + std::to_string(MAX_QUERY_ROWS) + " parts");
  }
  SelectStatement select;
  bool hasAllColumns = false;
  for (const QueryRow& row : query.rows)
    ReadRow(row, select, hasAllColumns);
  if (select.sources.empty()) throw SqlError("it names no table");
  if (hasAllColumns || select.columns.empty()) {
    select.columns.push_back({.expression = "*", .alias = {}});
  }
  return select;
}

}  // namespace nimport::jet
