#ifndef NIMPORT_JET_RECORDSET_H_
#define NIMPORT_JET_RECORDSET_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "jet/value.h"

namespace nimport::jet {

// A column of a table or of a query's result.
struct ColumnInfo {
  std::string name;
  ColumnType type{};  // of a query's computed column: the type that fits its values best
};

// A place in a recordset. It holds for every recordset of the same table or query while the
// database's file is unchanged.
struct Bookmark {
  std::uint64_t position = 0;
};

// The rows of a table or of a query's result, one at a time, in the engine's order: for a table the
// file's own order; for a query the order of its first source unless it sorts. A new recordset
// stands on its first row. Valid while its Database lives. All functions may throw DatabaseError.
class Recordset {
 public:
  virtual ~Recordset() = default;

  // Whether the recordset stands after its last row.
  [[nodiscard]] virtual bool IsEof() const = 0;

  // Stands on the first row, or at the end when there is none.
  virtual void MoveFirst() = 0;

  // Throws DatabaseError at the end.
  virtual void MoveNext() = 0;

  // The current row's value of a column. Throws DatabaseError when there is no such column or no
  // current row.
  [[nodiscard]] virtual Value GetFieldValue(std::string_view columnName) const = 0;

  // The same by the column's position in the definition's Columns().
  [[nodiscard]] virtual Value GetFieldValue(std::size_t column) const = 0;

  [[nodiscard]] virtual Bookmark GetBookmark() const = 0;
  virtual void SetBookmark(Bookmark bookmark) = 0;

  // Stands on the first row whose column, read as an integer (ToInteger), equals `value`, and
  // returns true; returns false and stands at the end when there is none. An index in memory is
  // built at the first use for a column and serves all later ones while the file is unchanged, so
  // the cost of a lookup does not grow with the number of rows.
  virtual bool FindFirst(std::string_view columnName, std::int32_t value) = 0;

  // The next row after the current one that the last FindFirst asked for.
  virtual bool FindNext() = 0;
};

}  // namespace nimport::jet

#endif  // NIMPORT_JET_RECORDSET_H_
