#include "store/mails/linked_files.h"

#include <gtest/gtest.h>

#include "common/failure.h"
#include "store/database_in_memory.h"
#include "store/mails/mail_kinds.h"

namespace nimport::store {
namespace {

struct ReceivedFile {
  std::optional<std::string> mailId;
  std::optional<std::string> path;
  bool isDamaged = false;
  test::RowState state = test::RowState::Whole;

  [[nodiscard]] jet::Value GetValue(std::string_view column) const {
    if (isDamaged) throw jet::DatabaseError({}, "injected damage");
    EXPECT_TRUE(column == "MailID" || column == "RcvFilePath") << column;
    const std::optional<std::string>& text = column == "MailID" ? mailId : path;
    return text ? jet::Value(jet::Text{*text}) : jet::Value();
  }
};

class LinkedFilesTest : public testing::Test {
 protected:
  std::optional<std::string> Find(std::string_view key, std::optional<std::uint64_t> stamp) {
    return links_.FindPath(database_, key, stamp);
  }

  test::RowsInMemory<ReceivedFile> received_{.name = std::string(LINKED_FILE_QUERY), .rows = {}};
  test::DatabaseInMemory<ReceivedFile> database_{received_};
  LinkedFiles links_;
};

TEST_F(LinkedFilesTest, AreTheFirstWhoseNumberBeginsWithTheKey) {
  received_.rows = {{std::nullopt, "null"}, {"XAB", "x"},   {"ABC", "abc"},      {"AB", "ab"},
                    {"Q1", "q1"},           {"Q12", "q12"}, {"T1", std::nullopt}};
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
  for (const auto& stamp : {std::optional<std::uint64_t>(), std::optional<std::uint64_t>(1),
                            std::optional<std::uint64_t>(1)}) {
    for (const auto& c : cases)
      EXPECT_EQ(Find(c.key, stamp), c.path) << c.key << c.why;
    for (const char* key : {"ABCD", "Z", "ab"})
      EXPECT_THROW((void)Find(key, stamp), Failure) << key;
  }
}

TEST_F(LinkedFilesTest, AreGoneThroughOnceForAnUnchangedDatabase) {
  for (int i = 1001; i <= 2000; ++i)
    received_.rows.push_back({"M" + std::to_string(i), std::to_string(i)});
  for (int i = 1001; i <= 2000; ++i)
    EXPECT_EQ(Find("M" + std::to_string(i), 7), std::to_string(i));
  // Each row's number for the index, and number and path when it is asked for.
  EXPECT_EQ(received_.valuesRead, 3000u);
  received_.rows[0].mailId = "N1001";
  EXPECT_EQ(Find("N1001", 8), "1001");
  EXPECT_THROW((void)Find("M1001", 8), Failure);
}

TEST_F(LinkedFilesTest, BeforeADamagedRowAreFound) {
  received_.rows = {{"A1", "a"}, {"B1", "b"}, {"C1", "c"}};
  for (std::size_t damaged = 0; damaged < 3; ++damaged) {
    received_.rows[damaged].isDamaged = true;
    links_ = LinkedFiles();
    for (std::size_t i = 0; i < 3; ++i) {
      const std::string key = *received_.rows[i].mailId;
      if (i < damaged) {
        EXPECT_EQ(Find(key, 1), received_.rows[i].path) << damaged;
      } else {
        EXPECT_THROW((void)Find(key, 1), jet::DatabaseError) << damaged;
      }
    }
    // A read that failed once only.
    received_.rows[damaged].isDamaged = false;
    EXPECT_EQ(Find("C1", 1), "c");
  }
}

}  // namespace
}  // namespace nimport::store
