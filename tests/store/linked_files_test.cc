#include "store/linked_files.h"

#include <gtest/gtest.h>

#include "common/failure.h"
#include "store/mail_kinds.h"

namespace nimport::mailstore {
namespace {

struct ReceivedFile {
  std::optional<std::string> mailId;
  std::optional<std::string> path;
};

struct Rows {
  std::vector<ReceivedFile> files;
  std::size_t moves = 0;
  std::optional<std::size_t> damagedRow = {};
};

class RowsInMemory final : public jet::Recordset {
 public:
  explicit RowsInMemory(Rows& rows) : rows_(rows) {}
  [[nodiscard]] bool IsEof() const override { return at_ >= rows_.files.size(); }
  void MoveFirst() override { at_ = 0; }
  void MoveNext() override {
    ++rows_.moves;
    ++at_;
  }
  [[nodiscard]] jet::Value GetFieldValue(std::string_view column) const override {
    const ReceivedFile& file = rows_.files.at(at_);
    if (at_ == rows_.damagedRow) throw jet::DatabaseError({}, "damaged");
    EXPECT_TRUE(column == "MailID" || column == "RcvFilePath") << column;
    const std::optional<std::string>& text = column == "MailID" ? file.mailId : file.path;
    return text ? jet::Value(jet::Text{*text}) : jet::Value();
  }
  [[nodiscard]] jet::Value GetFieldValue(std::size_t) const override { return {}; }
  [[nodiscard]] jet::Bookmark GetBookmark() const override { return {at_}; }
  void SetBookmark(jet::Bookmark bookmark) override {
    at_ = static_cast<std::size_t>(bookmark.position);
  }
  bool FindFirst(std::string_view, std::int32_t) override { return false; }
  bool FindNext() override { return false; }

 private:
  Rows& rows_;
  std::size_t at_ = 0;
};

class DatabaseOfFiles final : public jet::Database {
 public:
  explicit DatabaseOfFiles(Rows& rows) : rows_(rows) {}
  [[nodiscard]] std::unique_ptr<jet::TableDefinition> OpenTable(std::string_view) override {
    throw jet::DatabaseError({}, "no tables");
  }
  [[nodiscard]] std::unique_ptr<jet::QueryDefinition> OpenQuery(std::string_view name) override {
    EXPECT_EQ(name, LINKED_FILE_QUERY);
    return std::make_unique<Query>(rows_);
  }
  [[nodiscard]] std::vector<std::string> TableNames() override { return {}; }
  [[nodiscard]] std::vector<std::string> QueryNames() override { return {}; }

 private:
  class Query final : public jet::QueryDefinition {
   public:
    explicit Query(Rows& rows) : rows_(rows) {}
    [[nodiscard]] const std::vector<jet::ColumnInfo>& Columns() const override { return columns_; }
    [[nodiscard]] std::unique_ptr<jet::Recordset> OpenRecordset() const override {
      return std::make_unique<RowsInMemory>(rows_);
    }

   private:
    Rows& rows_;
    std::vector<jet::ColumnInfo> columns_;
  };
  Rows& rows_;
};

TEST(LinkedFiles, AreTheFirstWhoseNumberBeginsWithTheKey) {
  Rows rows{.files = {{std::nullopt, "null"},
                      {"XAB", "x"},
                      {"ABC", "abc"},
                      {"AB", "ab"},
                      {"Q1", "q1"},
                      {"Q12", "q12"},
                      {"T1", std::nullopt}}};
  const struct {
    const char* key;
    std::optional<std::string> path;
    const char* why;
  } cases[] = {
      {"AB", "abc", "the first of two"},
      {"ABC", "abc", "the whole number"},
      {"X", "x", "one letter"},
      {"", "x", "every number begins with nothing; null is none"},
      {"Q12", "q12", "a second one that begins like the first"},
      {"T1", std::nullopt, "without a path"},
  };
  DatabaseOfFiles database(rows);
  LinkedFiles links;
  for (const auto& stamp : {std::optional<std::uint64_t>(), std::optional<std::uint64_t>(1),
                            std::optional<std::uint64_t>(1)}) {
    for (const auto& c : cases)
      EXPECT_EQ(links.FindPath(database, c.key, stamp), c.path) << c.key << c.why;
    for (const char* key : {"ABCD", "Z", "ab"}) {
      EXPECT_THROW((void)links.FindPath(database, key, stamp), Failure) << key;
    }
  }
}

TEST(LinkedFiles, AreGoneThroughOnceForAnUnchangedDatabase) {
  Rows rows;
  for (std::int32_t i = 1; i <= 1000; ++i)
    rows.files.push_back({"M" + std::to_string(1000 + i), std::to_string(i)});
  DatabaseOfFiles database(rows);
  LinkedFiles links;
  for (std::int32_t i = 1; i <= 1000; ++i) {
    EXPECT_EQ(links.FindPath(database, "M" + std::to_string(1000 + i), 7), std::to_string(i));
  }
  EXPECT_EQ(rows.moves, 1000u);
  rows.files[0].mailId = "N1001";
  EXPECT_EQ(links.FindPath(database, "N1001", 8), "1");
  EXPECT_THROW((void)links.FindPath(database, "M1001", 8), Failure);
  EXPECT_EQ(rows.moves, 2000u);
}

TEST(LinkedFiles, BeforeADamagedRowAreFound) {
  Rows rows{.files = {{"A1", "a"}, {"B1", "b"}, {"C1", "c"}}};
  DatabaseOfFiles database(rows);
  for (std::size_t damaged = 0; damaged < 3; ++damaged) {
    rows.damagedRow = damaged;
    LinkedFiles links;
    const char* const keys[] = {"A1", "B1", "C1"};
    for (std::size_t i = 0; i < 3; ++i) {
      if (i < damaged) {
        EXPECT_EQ(links.FindPath(database, keys[i], 1), rows.files[i].path) << damaged;
      } else {
        EXPECT_THROW((void)links.FindPath(database, keys[i], 1), jet::DatabaseError) << damaged;
      }
    }
    // A read that failed once only.
    rows.damagedRow.reset();
    EXPECT_EQ(links.FindPath(database, "C1", 1), "c");
  }
}

}  // namespace
}  // namespace nimport::mailstore
