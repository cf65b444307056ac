#ifndef NIMPORT_TOOLS_MKSTORE_STORE_TABLE_H_
#define NIMPORT_TOOLS_MKSTORE_STORE_TABLE_H_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "jetwriter/database_writer.h"
#include "mkstore/description.h"

namespace nimport::mkstore {

// What the mail client's use has left behind in a table: rows that moved or were deleted, columns
// that came or went.
struct TableHistory {
  std::size_t movedEvery = 0;    // each n-th row lies on another page than its slot; 0 = none
  std::size_t deletedEvery = 0;  // after each n-th row stands a deleted one; 0 = none
  bool deletedKeepBytes = false;
  std::size_t addedColumns = 0;  // the last columns, unknown to the first `addedAfterRows` rows
  std::size_t addedAfterRows = 0;
};

// A table of a store being written.
class StoreTable {
 public:
  // Borrows `writer`.
  StoreTable(jetwriter::TableWriter& writer, const TableHistory& history)
      : writer_(&writer), history_(history) {}

  [[nodiscard]] const std::string& Name() const { return writer_->Name(); }
  // Empty when there is no such column, or it was deleted.
  [[nodiscard]] std::optional<std::size_t> FindColumn(std::string_view name) const;
  [[nodiscard]] const std::vector<jetwriter::ColumnSpec>& Columns() const {
    return writer_->Columns();
  }

  // One value for each column; those of deleted columns are filled in. Fails at `place` when a
  // value does not fit.
  void AddRow(std::vector<jet::Value> values, const Node& place);

 private:
  void Write(std::vector<jet::Value> values);

  jetwriter::TableWriter* writer_;
  TableHistory history_;
  std::size_t rows_ = 0;
};

// The values of a row being put together.
class StoreRow {
 public:
  explicit StoreRow(const StoreTable& table) : table_(&table), values_(table.Columns().size()) {}

  // Does nothing when the table has no such column.
  void Set(std::string_view column, jet::Value value);
  // Takes a value of the description; false when the table has no such column.
  bool Read(std::string_view column, const Node& node);
  // Takes the member of that name where there is one.
  void ReadMember(std::string_view column, const Node& parent, std::string_view member);
  // Takes all members of `node`, which are called after columns. Fails at one that is not.
  void ReadAll(const Node& node);
  // Sets a whole number, in the width of the column, as near as the column can hold it.
  void SetNumber(std::string_view column, std::int64_t number);

  [[nodiscard]] std::vector<jet::Value> Take() { return std::move(values_); }

 private:
  const StoreTable* table_;
  std::vector<jet::Value> values_;
};

// One of the two databases of a store: the mail client's tables and stored queries, as the
// description changes them, and those that it adds.
class StoreDatabase {
 public:
  // `description` is the whole one. Throws DescriptionError and WriteError.
  StoreDatabase(const std::string& name, const std::filesystem::path& directory,
                const jetwriter::WriterOptions& options, const Node& description);

  // Fails at `place` when there is no such table.
  [[nodiscard]] StoreTable& Table(std::string_view name, const Node& place);
  [[nodiscard]] StoreTable* FindTable(std::string_view name);

  void Finish() { writer_.Finish(); }

 private:
  void AddTable(const std::string& name, const std::vector<Node>& columns,
                const std::optional<Node>& changes);
  void AddQueries(const Node& defaults, const std::optional<Node>& changes);

  std::string name_;
  jetwriter::DatabaseWriter writer_;
  std::vector<StoreTable> tables_;
};

}  // namespace nimport::mkstore

#endif  // NIMPORT_TOOLS_MKSTORE_STORE_TABLE_H_
