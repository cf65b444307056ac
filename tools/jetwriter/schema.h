// What tables and stored queries of a database to be written look like.
#ifndef NIMPORT_TOOLS_JETWRITER_SCHEMA_H_
#define NIMPORT_TOOLS_JETWRITER_SCHEMA_H_

#include <cstdint>
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

// The rows of a stored query that says this.
[[nodiscard]] std::vector<jet::QueryRow> ToQueryRows(const jet::SelectStatement& select);

}  // namespace nimport::jetwriter

#endif  // NIMPORT_TOOLS_JETWRITER_SCHEMA_H_
