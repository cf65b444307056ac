// A database with one table or query, whose rows a test gives. It counts what is read of it and
// fails where the test wants it to.
#ifndef NIMPORT_TESTS_STORE_DATABASE_IN_MEMORY_H_
#define NIMPORT_TESTS_STORE_DATABASE_IN_MEMORY_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "jet/database.h"

namespace nimport::test {

// What going to a row does. A damaged row throws jet::DatabaseError, the last one std::bad_alloc.
enum class RowState { Whole, Damaged, NoMemory };

// `Row` has a member `state` and a function `jet::Value GetValue(std::string_view column) const`,
// which may throw.
template <typename Row>
struct RowsInMemory {
  std::string name;  // of the table or query
  std::vector<Row> rows;
  std::size_t moves = 0;
  std::size_t valuesRead = 0;
};

template <typename Row>
class RecordsetInMemory final : public jet::Recordset {
 public:
  explicit RecordsetInMemory(RowsInMemory<Row>& table) : table_(table) { MoveFirst(); }

  [[nodiscard]] bool IsEof() const override { return row_ == table_.rows.size(); }
  void MoveFirst() override { MoveTo(0); }
  void MoveNext() override { MoveTo(row_ + 1); }
  [[nodiscard]] jet::Value GetFieldValue(std::string_view column) const override {
    ++table_.valuesRead;
    return table_.rows.at(row_).GetValue(column);
  }
  [[nodiscard]] jet::Value GetFieldValue(std::size_t) const override { return {}; }
  [[nodiscard]] jet::Bookmark GetBookmark() const override { return {row_}; }
  void SetBookmark(jet::Bookmark bookmark) override {
    MoveTo(static_cast<std::size_t>(bookmark.position));
  }
  bool FindFirst(std::string_view, std::int32_t) override { return false; }
  bool FindNext() override { return false; }

 private:
  void MoveTo(std::size_t row) {
    ++table_.moves;
    const RowState state = row < table_.rows.size() ? table_.rows[row].state : RowState::Whole;
    if (state == RowState::Damaged) throw jet::DatabaseError({}, "injected damage");
    if (state == RowState::NoMemory) throw std::bad_alloc();
    row_ = row;
  }

  RowsInMemory<Row>& table_;
  std::size_t row_ = 0;
};

template <typename Row>
class DatabaseInMemory final : public jet::Database {
 public:
  explicit DatabaseInMemory(RowsInMemory<Row>& table) : table_(table) {}

  [[nodiscard]] std::unique_ptr<jet::TableDefinition> OpenTable(std::string_view name) override {
    return Open(name);
  }
  [[nodiscard]] std::unique_ptr<jet::QueryDefinition> OpenQuery(std::string_view name) override {
    return Open(name);
  }
  [[nodiscard]] std::vector<std::string> TableNames() override { return {}; }
  [[nodiscard]] std::vector<std::string> QueryNames() override { return {}; }

 private:
  class Definition final : public jet::TableDefinition, public jet::QueryDefinition {
   public:
    explicit Definition(RowsInMemory<Row>& table) : table_(table) {}
    [[nodiscard]] const std::vector<jet::ColumnInfo>& Columns() const override { return columns_; }
    [[nodiscard]] std::uint32_t RecordCount() const override { return 0; }
    [[nodiscard]] std::unique_ptr<jet::Recordset> OpenRecordset() const override {
      return std::make_unique<RecordsetInMemory<Row>>(table_);
    }

   private:
    RowsInMemory<Row>& table_;
    std::vector<jet::ColumnInfo> columns_;
  };

  std::unique_ptr<Definition> Open(std::string_view name) {
    if (name != table_.name) throw jet::DatabaseError({}, "no such table or query");
    return std::make_unique<Definition>(table_);
  }

  RowsInMemory<Row>& table_;
};

}  // namespace nimport::test

#endif  // NIMPORT_TESTS_STORE_DATABASE_IN_MEMORY_H_
