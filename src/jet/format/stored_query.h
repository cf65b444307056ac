// Stored queries as the table MSysQueries holds them: a few rows for each, every row a part of it.
// For the reader, the writer of test stores and the tests.
//
// Measured on the stored queries of the files that jet_layout.h names, which are of every kind that
// stands here. Not seen but reported by others: queries of another database (part 4) and the
// options PERCENT and WITH OWNERACCESS.
#ifndef NIMPORT_JET_FORMAT_STORED_QUERY_H_
#define NIMPORT_JET_FORMAT_STORED_QUERY_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace nimport::jet {

// Kinds of stored queries: OBJECT_QUERY_KIND_MASK of MSysObjects.Flags.
inline constexpr std::uint32_t QUERY_SELECT = 0x00;
inline constexpr std::uint32_t QUERY_CROSSTAB = 0x10;
inline constexpr std::uint32_t QUERY_DELETE = 0x20;
inline constexpr std::uint32_t QUERY_UPDATE = 0x30;
inline constexpr std::uint32_t QUERY_APPEND = 0x40;
inline constexpr std::uint32_t QUERY_MAKE_TABLE = 0x50;
inline constexpr std::uint32_t QUERY_DATA_DEFINITION = 0x60;
inline constexpr std::uint32_t QUERY_PASS_THROUGH = 0x70;
inline constexpr std::uint32_t QUERY_UNION = 0x80;

// MSysQueries.Attribute: what a row says of its query. MSysQueries.Order is a big-endian u32 that
// counts from 1 within a query's rows of one attribute.
inline constexpr std::uint8_t ATTRIBUTE_START = 0;
inline constexpr std::uint8_t ATTRIBUTE_KIND = 1;  // Flag: KIND_SELECT or another kind
inline constexpr std::uint8_t ATTRIBUTE_PARAMETER = 2;
inline constexpr std::uint8_t ATTRIBUTE_OPTIONS = 3;  // Flag: OPTION_ bits, Name1: TOP count
inline constexpr std::uint8_t ATTRIBUTE_SOURCE_DATABASE = 4;
inline constexpr std::uint8_t ATTRIBUTE_SOURCE = 5;  // Name1: table or query, Name2: alias
inline constexpr std::uint8_t ATTRIBUTE_COLUMN = 6;  // Expression, Name1: alias
inline constexpr std::uint8_t ATTRIBUTE_JOIN =
    7;  // Flag: JoinKind, Name1, Name2: left, right source
inline constexpr std::uint8_t ATTRIBUTE_WHERE = 8;
inline constexpr std::uint8_t ATTRIBUTE_GROUP_BY = 9;
inline constexpr std::uint8_t ATTRIBUTE_HAVING = 10;
inline constexpr std::uint8_t ATTRIBUTE_ORDER_BY = 11;  // Name1: ORDER_DESCENDING or null
inline constexpr std::uint8_t ATTRIBUTE_END = 255;

inline constexpr std::int16_t KIND_SELECT = 1;

// Bits of Flag of ATTRIBUTE_OPTIONS.
inline constexpr std::uint16_t OPTION_ALL_FIELDS = 0x01;
inline constexpr std::uint16_t OPTION_DISTINCT = 0x02;
inline constexpr std::uint16_t OPTION_OWNER_ACCESS = 0x04;  // about rights, which nobody looks at
inline constexpr std::uint16_t OPTION_DISTINCTROW = 0x08;
inline constexpr std::uint16_t OPTION_TOP = 0x10;
inline constexpr std::uint16_t OPTION_PERCENT = 0x20;

// Flag of ATTRIBUTE_JOIN.
enum class JoinKind : std::uint8_t { Inner = 1, Left = 2, Right = 3 };

inline constexpr std::string_view ORDER_DESCENDING = "D";

// A row of MSysQueries. Texts are UTF-8 without trailing NULs; null reads as empty.
struct QueryRow {
  std::uint8_t attribute = 0;
  std::string order = {};  // the stored bytes; rows come sorted by (attribute, order)
  std::string name1 = {};
  std::string name2 = {};
  std::string expression = {};
  std::optional<std::int16_t> flag = {};
};

// A stored query as the catalog holds it.
struct StoredQuery {
  std::string name;         // UTF-8
  std::uint32_t flags = 0;  // of its object; bits 0xF0 tell its kind
  std::vector<QueryRow> rows = {};
};

// A select query in its clauses. Names and texts are UTF-8; expressions stand as in SQL.
struct SelectStatement {
  struct Source {
    std::string name;        // of a table or a stored query
    std::string alias = {};  // empty: none
    [[nodiscard]] const std::string& KnownAs() const { return alias.empty() ? name : alias; }
  };
  struct Column {
    std::string expression;
    std::string alias = {};  // empty: none
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

  std::vector<Source> sources = {};
  std::vector<Column> columns = {};  // none: SELECT *
  std::vector<Join> joins = {};
  std::vector<std::string> conditions = {};  // of WHERE; all must hold
  std::vector<Order> order = {};
  bool isDistinct = false;
  bool isDistinctRow = false;
  std::optional<std::uint32_t> top = {};
  bool isTopPercent = false;
};

// What is read of one stored query. Jet's own limits are 255 columns, 32 tables and some 64,000
// characters in all; these only bound what a damaged query can ask for.
inline constexpr std::size_t MAX_QUERY_ROWS = 4096;
inline constexpr std::size_t MAX_QUERY_TEXT_BYTES = std::size_t{4} << 20;

}  // namespace nimport::jet

#endif  // NIMPORT_JET_FORMAT_STORED_QUERY_H_
