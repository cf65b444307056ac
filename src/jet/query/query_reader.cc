#include "jet/query/query_reader.h"

#include <charconv>
#include <system_error>

#include "jet/query/expression/sql_text.h"
#include "text/ascii_case.h"

namespace nimport::jet {
namespace {

// What the attribute of a row says that the row is.
enum Attribute : std::uint8_t {
  START = 0,
  KIND = 1,
  PARAMETER = 2,
  OPTIONS = 3,
  SOURCE_DATABASE = 4,
  SOURCE = 5,
  COLUMN = 6,
  JOIN = 7,
  WHERE = 8,
  GROUP_BY = 9,
  HAVING = 10,
  ORDER_BY = 11,
  END = 255,
};

// Bits of the options row.
enum Option : std::uint16_t {
  ALL_COLUMNS = 0x01,
  DISTINCT = 0x02,
  OWNER_ACCESS = 0x04,  // about rights to the file, which are not looked at
  DISTINCT_ROW = 0x08,
  TOP = 0x10,
  PERCENT = 0x20,
};
constexpr unsigned KNOWN_OPTIONS =
    ALL_COLUMNS | DISTINCT | OWNER_ACCESS | DISTINCT_ROW | TOP | PERCENT;

constexpr std::int16_t SELECT_KIND = 1;

[[noreturn]] void FailKind(std::string_view kind) {
  throw SqlError("it is " + std::string(kind) + "; only select queries are evaluated");
}

void CheckKindOfObject(std::uint32_t flags) {
  constexpr std::uint32_t KIND_BITS = 0xF0;
  switch (flags & KIND_BITS) {
    case 0x00:
      return;
    case 0x10:
      FailKind("a crosstab query");
    case 0x20:
      FailKind("a delete query");
    case 0x30:
      FailKind("an update query");
    case 0x40:
      FailKind("an append query");
    case 0x50:
      FailKind("a make-table query");
    case 0x60:
      FailKind("a data definition query");
    case 0x70:
      FailKind("a pass-through query");
    case 0x80:
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
    throw SqlError("the number behind TOP is " + Quote(text));
  }
  return count;
}

void ReadOptions(const QueryRow& row, SelectStatement& select, bool& hasAllColumns) {
  const unsigned options = static_cast<std::uint16_t>(row.flag.value_or(0));
  if ((options & ~KNOWN_OPTIONS) != 0) {
    throw SqlError("it has an unknown option, bits " + std::to_string(options));
  }
  hasAllColumns = (options & ALL_COLUMNS) != 0;
  select.isDistinct = (options & DISTINCT) != 0;
  select.isDistinctRow = (options & DISTINCT_ROW) != 0;
  select.isTopPercent = (options & PERCENT) != 0;
  if ((options & TOP) != 0) select.top = ParseTopCount(row.name1);
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
    case START:
    case END:
      return;
    case KIND:
      if (row.flag.value_or(SELECT_KIND) == SELECT_KIND) return;
      throw SqlError("its own rows say that it is no select query but of kind " +
                     std::to_string(*row.flag));
    case PARAMETER:
      throw SqlError("it asks for the parameter " + Quote(row.name1) +
                     "; parameters are not evaluated");
    case OPTIONS:
      return ReadOptions(row, select, hasAllColumns);
    case SOURCE_DATABASE:
      if (row.name1.empty() && row.expression.empty()) return;
      throw SqlError("it reads another database, " + Quote(row.name1 + row.expression));
    case SOURCE:
      if (row.expression.empty()) {
        select.sources.push_back({.name = row.name1, .alias = row.name2});
        return;
      }
      throw SqlError("its source " + Quote(row.expression) +
                     " is a subquery or lies in another database");
    case COLUMN:
      select.columns.push_back({.expression = row.expression, .alias = row.name1});
      return;
    case JOIN:
      select.joins.push_back(ReadJoin(row));
      return;
    case WHERE:
      select.conditions.push_back(row.expression);
      return;
    case GROUP_BY:
      throw SqlError("its GROUP BY " + Quote(row.expression) + " is not evaluated");
    case HAVING:
      throw SqlError("its HAVING " + Quote(row.expression) + " is not evaluated");
    case ORDER_BY:
      select.order.push_back(
          {.expression = row.expression, .isDescending = EqualsIgnoringAsciiCase(row.name1, "D")});
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
