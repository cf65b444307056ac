// A table as the storage side of the engine offers it to the evaluation of queries: its columns, a
// scan in the file's order, single rows by id, and indexes on integer columns.
#ifndef NIMPORT_JET_STORAGE_TABLE_H_
#define NIMPORT_JET_STORAGE_TABLE_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "jet/value.h"

namespace nimport::jet {

// One column as its table's definition describes it.
struct Column {
  std::string name;  // UTF-8
  ColumnType type{};
  std::uint16_t id = 0;
  bool isFixed = false;
  std::uint16_t fixedOffset = 0;   // bytes, in the row's fixed area; fixed columns only
  std::uint16_t variableSlot = 0;  // variable columns only
  std::uint16_t sizeBytes = 0;     // as defined; 0 for long values
  std::uint8_t scale = 0;          // Numeric only
  std::uint8_t storedType = 0;     // the type's number; one that is not known reads as Binary

  friend bool operator==(const Column&, const Column&) = default;
};

// Where a row's slot lies. Ascending ids are the file's order.
struct RowId {
  std::uint32_t packed = 0;  // page number << 8 | slot

  [[nodiscard]] std::uint32_t Page() const { return packed >> 8; }
  [[nodiscard]] std::uint32_t Slot() const { return packed & 0xFF; }
  friend auto operator<=>(const RowId&, const RowId&) = default;
};

// One entry of an index: rows are sorted by (value, id).
struct IndexEntry {
  std::int32_t value = 0;
  RowId id;
};

// One row, standing in its page. Valid until the scan that delivered it moves or, for a row read by
// id, until it is destroyed; never after the table is gone.
class Row {
 public:
  virtual ~Row() = default;
  [[nodiscard]] virtual RowId Id() const = 0;
  // `column` is a position in Table::Columns(). Decodes only that value. A column added to the
  // table after this row was written reads as null. Throws DatabaseError naming file, page and
  // slot.
  [[nodiscard]] virtual Value Get(std::size_t column) const = 0;
  // The same as ToInteger(Get(column)), without making a Value.
  [[nodiscard]] virtual std::optional<std::int32_t> GetInteger(std::size_t column) const = 0;
};

// Goes over all live rows in the file's order.
class TableScan : public Row {
 public:
  // Stands on the next row (the first one at the first call); false behind the last one.
  virtual bool Next() = 0;
  // Lets the next call of Next() stand on the row behind `id`.
  virtual void ContinueAfter(RowId id) = 0;
};

class Table {
 public:
  virtual ~Table() = default;

  [[nodiscard]] virtual const std::string& Name() const = 0;  // UTF-8
  // In the order of their ids.
  [[nodiscard]] virtual const std::vector<Column>& Columns() const = 0;
  // By UTF-8 name, without regard to the case of ASCII letters.
  [[nodiscard]] virtual std::optional<std::size_t> FindColumn(std::string_view name) const = 0;

  [[nodiscard]] virtual std::unique_ptr<TableScan> OpenScan() const = 0;

  // Empty when there is no live row with that id.
  [[nodiscard]] virtual std::unique_ptr<Row> ReadRow(RowId id) const = 0;

  // How many pages were asked for since the file was opened, for whoever counts what reading costs.
  [[nodiscard]] virtual std::uint64_t PagesRead() const { return 0; }

  // Rows whose column reads as an integer (ToInteger), sorted by value, then by id: every such row,
  // or, where damage ends a scan of the table, those before the damage. Built at the first call for
  // a column, kept while the file is unchanged. Valid as long as the table.
  [[nodiscard]] virtual std::span<const IndexEntry> IntegerIndex(std::size_t column) const = 0;

  // The same for whoever needs every row: throws the DatabaseError that ends the scan. To be asked
  // when IntegerIndex() does not have what is looked for.
  [[nodiscard]] virtual std::span<const IndexEntry> WholeIntegerIndex(std::size_t column) const {
    return IntegerIndex(column);
  }
};

// The part of an IntegerIndex with one value.
[[nodiscard]] std::span<const IndexEntry> FindInIndex(std::span<const IndexEntry> index,
                                                      std::int32_t value);

}  // namespace nimport::jet

#endif  // NIMPORT_JET_STORAGE_TABLE_H_
