// What tables and stored queries of a database to be written look like.
#ifndef NIMPORT_TOOLS_JETWRITER_SCHEMA_H_
#define NIMPORT_TOOLS_JETWRITER_SCHEMA_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "jet/format/stored_query.h"
#include "jet/value.h"

namespace nimport::jetwriter {

// A column. Its id is its position among the table's columns, deleted ones included.
struct ColumnSpec {
  std::string name;  // UTF-8, at most 64 characters
  jet::ColumnType type{};
  std::uint16_t size = 0;       // Text: characters (Jet 3: bytes); Binary: bytes; else unused
  std::uint8_t precision = 18;  // Numeric only, as the next
  std::uint8_t scale = 0;
  bool isAutonumber = false;
  // The column was deleted after the rows had been written: rows hold its values, the table's
  // definition knows it no more.
  bool isDeleted = false;
  // Stored among the variable columns although its type has a fixed width.
  bool isStoredVariable = false;
};

struct TableSpec {
  std::string name;  // UTF-8
  std::vector<ColumnSpec> columns;
};

// A row of MSysQueries; texts are UTF-8, what is absent is written as null.
struct QueryRowSpec {
  std::uint8_t attribute = 0;
  std::optional<std::int16_t> flag = std::nullopt;
  std::optional<std::string> name1 = std::nullopt;
  std::optional<std::string> name2 = std::nullopt;
  std::optional<std::string> expression = std::nullopt;
};

// A stored query of any kind.
struct QuerySpec {
  std::string name;                // UTF-8
  std::uint32_t kind = 0;          // QUERY_ constant of stored_query.h
  std::vector<QueryRowSpec> rows;  // counted per attribute in the order given
};

struct QuerySource {
  std::string table;       // or stored query
  std::string alias = {};  // empty: none
};

struct QueryColumn {
  std::string expression;
  std::string alias = {};  // empty: none
};

using jet::JoinKind;

struct QueryJoin {
  JoinKind kind = JoinKind::Inner;
  std::string left;  // name or alias of a source
  std::string right;
  std::string condition;
};

struct QueryOrder {
  std::string expression;
  bool isDescending = false;
};

// SELECT. Expressions stand as in SQL, without anything added or bracketed.
struct SelectSpec {
  bool isDistinct = false;
  bool isDistinctRow = false;
  std::optional<std::uint32_t> top = {};
  bool isTopPercent = false;
  std::vector<QueryColumn> columns = {};  // none: SELECT *
  std::vector<QuerySource> sources;
  std::vector<QueryJoin> joins = {};
  std::string where = {};  // empty: none
  std::vector<QueryOrder> orderBy = {};
};

[[nodiscard]] std::vector<QueryRowSpec> ToQueryRows(const SelectSpec& select);

}  // namespace nimport::jetwriter

#endif  // NIMPORT_TOOLS_JETWRITER_SCHEMA_H_
