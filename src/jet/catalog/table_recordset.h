#ifndef NIMPORT_JET_CATALOG_TABLE_RECORDSET_H_
#define NIMPORT_JET_CATALOG_TABLE_RECORDSET_H_

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "jet/database_error.h"
#include "jet/recordset.h"
#include "jet/storage/stored_table.h"

namespace nimport::jet {

class JetCatalog;

// A table that was opened by name. When the file changes, it becomes the table of that name in the
// file as it is now, provided that this has the same columns.
class OpenedTable {
 public:
  // `name` is UTF-8. Throws DatabaseError when there is no such table.
  OpenedTable(JetCatalog& catalog, std::string name);

  // The table as it was when it was last looked up; the same as long as the file is.
  [[nodiscard]] const std::shared_ptr<const StoredTable>& Table() const { return table_; }
  // In the code page of texts.
  [[nodiscard]] const std::vector<ColumnInfo>& Columns() const { return columns_; }
  [[nodiscard]] JetCatalog& Catalog() const { return *catalog_; }

  // Looks the table up again if the file has changed, and says whether it has. Throws DatabaseError
  // when the table is gone or has other columns.
  bool Refresh();

 private:
  [[nodiscard]] std::shared_ptr<const StoredTable> Find() const;

  JetCatalog* catalog_;
  std::string name_;
  std::uint64_t generation_ = 0;
  std::shared_ptr<const StoredTable> table_;
  std::vector<ColumnInfo> columns_;
};

// The rows of a table. A bookmark is the row's id.
class TableRecordset final : public Recordset {
 public:
  explicit TableRecordset(OpenedTable table);

  [[nodiscard]] bool IsEof() const override { return isEof_; }
  void MoveFirst() override;
  void MoveNext() override;
  [[nodiscard]] Value GetFieldValue(std::string_view columnName) const override;
  [[nodiscard]] Value GetFieldValue(std::size_t column) const override;
  [[nodiscard]] Bookmark GetBookmark() const override;
  void SetBookmark(Bookmark bookmark) override;
  bool FindFirst(std::string_view columnName, std::int32_t value) override;
  bool FindNext() override;

 private:
  [[nodiscard]] DatabaseError Error(const std::string& reason) const;
  [[nodiscard]] std::size_t RequireColumn(std::string_view columnName) const;
  void RequireRow() const {
    if (isEof_) FailAtEnd();
  }
  [[noreturn]] void FailAtEnd() const;
  [[noreturn]] void FailColumn(std::size_t column) const;
  // Stands on the row with this id, or at the end when it is not live any more.
  bool StandOn(RowId id);
  // Stands on the first of `rows` that can be read.
  bool StandOnFirst(std::span<const IndexEntry> rows);
  // Stands on the first of `found_` after the row `id`.
  bool StandOnFoundAfter(RowId id);

  OpenedTable table_;
  std::unique_ptr<StoredScan> scan_;
  bool isEof_ = true;
  // By the last FindFirst; in the table's index.
  std::size_t soughtColumn_ = 0;
  std::int32_t soughtValue_ = 0;
  std::span<const IndexEntry> found_;
};

}  // namespace nimport::jet

#endif  // NIMPORT_JET_CATALOG_TABLE_RECORDSET_H_
