// Stored queries that ask for more than any machine has, in databases of ordinary size.
#include "jet/query/expression/query_budget.h"

#include <atomic>
#include <ctime>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "jet/database.h"
#include "tests/jet/generated_database.h"
#include "text/code_page_converter.h"

namespace nimport::jet {
namespace {

using jetwriter::DatabaseWriter;

// Of the processor, for one query, sanitizers included. They take less than two without.
constexpr double MAX_SECONDS = 20;

constexpr std::int32_t ROWS = 4000;
constexpr std::size_t TEXT_BYTES = std::size_t{256} << 10;

constexpr const char* TOO_LONG = "the stored query takes too long for a file of this size";

std::string Repeat(const std::string& text, int count) {
  std::string repeated;
  for (int i = 0; i < count; ++i)
    repeated += text;
  return repeated;
}

struct HostileQuery {
  std::string name;
  SelectStatement select;
  std::string wanted;  // the number of its rows, or a part of the error
};

std::vector<HostileQuery> HostileQueries() {
  std::string numbers = "100000";
  for (int i = 1; i < 50; ++i)
    numbers += ',' + std::to_string(100'000 + i);
  const std::vector<SelectStatement::Source> both{{.name = "A"}, {.name = "B"}};
  const std::vector<SelectStatement::Source> texts{{.name = "T"}};
  const std::string tooMuch = "the stored query takes too much memory for a file of this size";
  return {
      {"pattern", {.sources = texts, .conditions = {"c Like p"}}, "0"},
      {"sets",
       {.sources = texts, .conditions = {"c Like \"*" + Repeat("?a", 15'000) + "b*\""}},
       TOO_LONG},
      {"choice", {.sources = both, .conditions = {"B.k In (" + numbers + ")"}}, "0"},
      {"choice of sums",
       {.sources = both, .conditions = {"A.k+B.k In (" + numbers + ")"}},
       TOO_LONG},
      {"sort keys",
       {.sources = {{.name = "A"}}, .order = std::vector<SelectStatement::Order>(100, {"same"})},
       std::to_string(ROWS)},
      {"number and text",
       {.sources = both,
        .columns = {{.expression = "A.k"}},
        .joins = {{.left = "A", .right = "B", .condition = "A.k=B.digits"}}},
       std::to_string(ROWS)},
      {"cross product", {.sources = both, .order = {{"A.k"}}}, tooMuch},
      {"distinct",
       {.sources = both, .columns = {{.expression = "A.same"}}, .isDistinct = true},
       tooMuch},
      {"held once",
       {.sources = texts, .conditions = {Repeat("(c=", 90) + "c" + Repeat(")", 90)}},
       "0"},
      {"held often",
       {.sources = texts,
        .conditions = {Repeat("((c & c & c & c & c & c)=", 60) + "c" + Repeat(")", 60)}},
       tooMuch},
  };
}

class QueryBudgetTest : public testing::Test {
 protected:
  QueryBudgetTest() {
    auto bytes = MakeDatabase({}, [](DatabaseWriter& writer) {
      for (const char* name : {"A", "B"}) {
        auto& table =
            writer.AddTable({.name = name,
                             .columns = {{.name = "k", .type = ColumnType::Long},
                                         {.name = "digits", .type = ColumnType::Text, .size = 20},
                                         {.name = "same", .type = ColumnType::Text, .size = 40}}});
        for (std::int32_t i = 0; i < ROWS; ++i)
          table.AddRow(std::vector<Value>{i, Text{std::to_string(i)}, Text{std::string(40, 's')}});
      }
      writer
          .AddTable({.name = "T",
                     .columns = {{.name = "c", .type = ColumnType::Memo},
                                 {.name = "p", .type = ColumnType::Memo}}})
          .AddRow(std::vector<Value>{Text{std::string(TEXT_BYTES, 'a')},
                                     Text{"*" + std::string(TEXT_BYTES / 2, 'a') + "b*"}});
      for (const HostileQuery& each : HostileQueries())
        writer.AddQuery({.name = each.name, .rows = jetwriter::ToQueryRows(each.select)});
    });
    database_ = Database::Open(std::make_unique<MemoryFile>("test.mdb", std::move(bytes)),
                               converter_, {.interruption = &interruption_});
  }

  std::string Run(const std::string& name) {
    try {
      const auto rows = database_->OpenQuery(name)->OpenRecordset();
      int count = 0;
      for (; !rows->IsEof(); rows->MoveNext())
        ++count;
      return std::to_string(count);
    } catch (const Interrupted& error) {
      return std::string("ended: ") + error.what();
    } catch (const DatabaseError& error) {
      return error.what();
    }
  }

  text::CodePageConverter converter_;
  std::atomic<bool> interruption_ = false;
  std::unique_ptr<Database> database_;
};

TEST_F(QueryBudgetTest, HostileQueriesEndWithTheirRowsOrTheBound) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "steps are counted; with a sanitizer as many take minutes";
#endif
  for (const HostileQuery& each : HostileQueries()) {
    const std::clock_t start = std::clock();
    const std::string result = Run(each.name);
    // A host asks for each mail anew; what was too long is refused at once.
    for (int i = 0; i < 1000 && each.wanted == TOO_LONG; ++i)
      EXPECT_EQ(Run(each.name), result);
    const bool isCount = each.wanted.find_first_not_of("0123456789") == std::string::npos;
    EXPECT_EQ(result.substr(0, result.find(": more than")),
              isCount ? each.wanted : "test.mdb, table " + each.name + ": " + each.wanted);
    EXPECT_LT(static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC, MAX_SECONDS) << each.name;
  }
}

TEST_F(QueryBudgetTest, TheInterruptionEndsAQueryUntilItIsTakenBack) {
  interruption_ = true;
  EXPECT_EQ(Run("cross product"), "ended: test.mdb, table cross product: interrupted");
  interruption_ = false;
  EXPECT_EQ(Run("sort keys"), std::to_string(ROWS));
}

}  // namespace
}  // namespace nimport::jet
