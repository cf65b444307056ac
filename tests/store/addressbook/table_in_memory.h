// A database that holds the table of the address book alone, counts what is read of it and fails
// where a test wants it to.
#ifndef NIMPORT_TESTS_ADDRESSBOOK_TABLE_IN_MEMORY_H_
#define NIMPORT_TESTS_ADDRESSBOOK_TABLE_IN_MEMORY_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "jet/database.h"

namespace nimport::test {

constexpr std::int32_t GROUP = 0;
constexpr std::int32_t ADDRESS = 2;

struct AddressRow {
  std::int32_t type = GROUP;
  std::int32_t parent = 0;
  std::int32_t key = 0;
  std::optional<std::string> name = {};
  std::optional<std::string> userId = {};
  std::string damagedColumn = {};  // cannot be read
};

inline AddressRow Group(std::int32_t parent, std::int32_t key, std::string name) {
  return {.parent = parent, .key = key, .name = std::move(name)};
}

inline AddressRow Address(std::int32_t parent, std::string userId) {
  return {.type = ADDRESS, .parent = parent, .key = -99, .userId = std::move(userId)};
}

struct TableInMemory {
  std::vector<AddressRow> rows;
  std::optional<std::size_t> damagedRow = {};    // moving there throws DatabaseError
  std::optional<std::size_t> memoryEndsAt = {};  // moving there throws std::bad_alloc
  std::size_t moves = 0;
  std::size_t valuesRead = 0;
};

class DatabaseInMemory final : public jet::Database {
 public:
  explicit DatabaseInMemory(TableInMemory& table) : table_(table) {}

  [[nodiscard]] std::unique_ptr<jet::TableDefinition> OpenTable(std::string_view name) override {
    if (name != "AddressBookTBL") throw jet::DatabaseError({}, "no such table");
    return std::make_unique<Definition>(table_);
  }
  [[nodiscard]] std::unique_ptr<jet::QueryDefinition> OpenQuery(std::string_view) override {
    throw jet::DatabaseError({}, "no queries");
  }
  [[nodiscard]] std::vector<std::string> TableNames() override { return {"AddressBookTBL"}; }
  [[nodiscard]] std::vector<std::string> QueryNames() override { return {}; }

 private:
  class Rows final : public jet::Recordset {
   public:
    explicit Rows(TableInMemory& table) : table_(table) { MoveFirst(); }

    [[nodiscard]] bool IsEof() const override { return row_ == table_.rows.size(); }
    void MoveFirst() override { MoveTo(0); }
    void MoveNext() override { MoveTo(row_ + 1); }
    [[nodiscard]] jet::Value GetFieldValue(std::string_view column) const override {
      ++table_.valuesRead;
      const AddressRow& row = table_.rows.at(row_);
      if (column == row.damagedColumn) throw jet::DatabaseError({}, "injected damage");
      if (column == "KeyNo") return row.key;
      if (column == "ParentKeyNo") return row.parent;
      if (column == "Type") return row.type;
      if (column == "Name" && row.name) return jet::Text{*row.name};
      if (column == "UserID" && row.userId) return jet::Text{*row.userId};
      return {};
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
      if (row == table_.damagedRow) throw jet::DatabaseError({}, "injected damage");
      if (row == table_.memoryEndsAt) throw std::bad_alloc();
      row_ = row;
    }

    TableInMemory& table_;
    std::size_t row_ = 0;
  };

  class Definition final : public jet::TableDefinition {
   public:
    explicit Definition(TableInMemory& table) : table_(table) {}
    [[nodiscard]] const std::vector<jet::ColumnInfo>& Columns() const override { return columns_; }
    [[nodiscard]] std::uint32_t RecordCount() const override {
      return static_cast<std::uint32_t>(table_.rows.size());
    }
    [[nodiscard]] std::unique_ptr<jet::Recordset> OpenRecordset() const override {
      return std::make_unique<Rows>(table_);
    }

   private:
    TableInMemory& table_;
    std::vector<jet::ColumnInfo> columns_;
  };

  TableInMemory& table_;
};

}  // namespace nimport::test

#endif  // NIMPORT_TESTS_ADDRESSBOOK_TABLE_IN_MEMORY_H_
