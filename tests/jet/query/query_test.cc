#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "jet/query/query_recordset.h"
#include "tests/jet/test_catalog.h"

namespace nimport::jet {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr int INNER = 1;
constexpr int LEFT = 2;
constexpr int RIGHT = 3;
constexpr int DISTINCT = 0x02;
constexpr int DISTINCT_ROW = 0x08;
constexpr int TOP = 0x10;
constexpr int TOP_PERCENT = 0x30;

Value Long(std::int32_t value) {
  return value;
}

QueryRows Q(const std::string& sources = {}, const std::string& columns = {}) {
  return QueryRows("Q").Select(sources, columns);
}

// Customers and their orders.
QueryRows Sales(int kind, const std::string& columns = "顧客.No, OrderNo") {
  return Q("顧客, Orders", columns).Join(kind, "顧客", "Orders", "顧客.No = Orders.No");
}

// Customers, their orders and the goods ordered: orders of a customer that is not there (9), of
// none (Null), customers without orders (3, 4).
class QueryTest : public testing::Test {
 protected:
  QueryTest() {
    catalog_.AddTable(
        "顧客", {{"No", ColumnType::Long}, {"名前", ColumnType::Text}, {"市", ColumnType::Text}},
        {{Long(2), Cell("表参道商店"), Cell("東京")},
         {Long(1), Cell("ABC"), Cell("大阪")},
         {Long(3), Cell("abc"), Cell("東京")},
         {Long(4), Value(), Cell("")}});
    catalog_.AddTable("Orders",
                      {{"OrderNo", ColumnType::Long},
                       {"No", ColumnType::Integer},
                       {"Goods", ColumnType::Text},
                       {"Price", ColumnType::Double},
                       {"Day", ColumnType::DateTime}},
                      {{Long(10), std::int16_t{1}, Cell("pen"), 1.5, Date{35064}},
                       {Long(11), std::int16_t{2}, Cell("ink"), 20.0, Date{35065.25}},
                       {Long(12), std::int16_t{1}, Cell("Ink"), Value(), Date{35063}},
                       {Long(13), std::int16_t{9}, Cell("pad"), 3.0, Value()},
                       {Long(14), Value(), Cell("pen"), 4.0, Date{35064}}});
    catalog_.AddTable("Goods", {{"Name", ColumnType::Text}, {"Maker", ColumnType::Text}},
                      {{Cell("INK"), Cell("A")},
                       {Cell("pen"), Cell("B")},
                       {Cell("pen"), Cell("C")},
                       {Value(), Cell("D")}});
    catalog_.AddTable("Prices", {{"Price", ColumnType::Double}, {"Mark", ColumnType::Text}},
                      {{3.0, Cell("three")}, {1.5, Cell("half")}, {1e10, Cell("huge")}});
    catalog_.AddTable("Numbers", {{"d", ColumnType::Double}, {"l", ColumnType::Long}},
                      {{1.5, Long(3)}, {1e10, Long(1)}});
    const std::string same(50, 'x');
    catalog_.AddTable("T", {{"a", ColumnType::Text}, {"n", ColumnType::Long}},
                      {{Cell(same + "b"), Long(1)},
                       {Cell(same), Long(2)},
                       {Cell(same + "a"), Long(3)},
                       {Cell(same + "B"), Long(4)}});
    catalog_.AddQuery(QueryRows("Joined")
                          .Select("顧客, Orders")
                          .Join(INNER, "顧客", "Orders", "顧客.No = Orders.No")
                          .Where("Orders.Price Is Not Null"));
    catalog_.AddQuery(
        QueryRows("Best").Select("Orders", "*").Options(TOP, "2").OrderBy("Price", true));
    catalog_.AddQuery(QueryRows("Marked").Select("Goods", "Name, \"x\" & Maker AS M"));
  }

  std::shared_ptr<PreparedQuery> Prepare(const QueryRows& rows) {
    catalog_.AddQuery(rows);
    return std::make_shared<PreparedQuery>(catalog_, "Q");
  }
  std::unique_ptr<QueryRecordset> Open(const QueryRows& rows) {
    return std::make_unique<QueryRecordset>(Prepare(rows));
  }

  // The rows, "1 | a; 2 | b".
  std::string Run(const QueryRows& rows) {
    const auto query = Prepare(rows);
    QueryRecordset result(query);
    std::string shown;
    for (const std::string& row : ShowRows(result, query->Columns().size()))
      shown += (shown.empty() ? "" : "; ") + row;
    return shown;
  }

  std::string ErrorOf(const QueryRows& rows) {
    try {
      (void)Prepare(rows);
      return "none";
    } catch (const DatabaseError& error) {
      EXPECT_EQ(error.place().file, "memory.mdb");
      EXPECT_FALSE(error.place().table.empty());
      return error.what();
    }
  }

  std::vector<std::string> ColumnNames(const QueryRows& rows) {
    const auto query = Prepare(rows);
    std::vector<std::string> names;
    for (const ColumnInfo& column : query->Columns())
      names.push_back(Show(Text{column.name}));
    return names;
  }

  TestCatalog catalog_;
};

TEST_F(QueryTest, RowsAreThoseWorkedOutByHand) {
  const auto where = [](const std::string& condition) {
    return Q("Orders", "OrderNo").Where(condition);
  };
  const auto top = [](int options, const std::string& count) {
    return Q("Orders", "OrderNo").Options(options, count);
  };
  const auto prices = [](int kind, const std::string& condition) {
    return Q("Numbers, Prices", "Mark").Join(kind, "Numbers", "Prices", condition);
  };
  const struct {
    const char* why;
    QueryRows query;
    std::string wanted;
  } CASES[] = {
      {"the order of the left side", Sales(INNER), "2 | 11; 1 | 10; 1 | 12"},
      {"of the side that stays", Sales(LEFT), "2 | 11; 1 | 10; 1 | 12; 3 | -; 4 | -"},
      {"likewise", Sales(RIGHT), "1 | 10; 2 | 11; 1 | 12; - | 13; - | 14"},
      {"texts without regard to case; null joins nothing",
       Q("Orders, Goods", "OrderNo, Maker")
           .Join(LEFT, "Orders", "Goods", "Orders.Goods = Goods.Name"),
       "10 | B; 10 | C; 11 | A; 12 | A; 13 | -; 14 | B; 14 | C"},
      {"an index has no number beyond 32 bits", prices(INNER, "d = Prices.Price"), "half; huge"},
      {"nor a fraction", prices(LEFT, "l = Prices.Price"), "three; -"},
      {"a computed number",
       Q("Prices, Numbers", "Mark").Join(INNER, "Prices", "Numbers", "l * 1.5 = Prices.Price"),
       "half"},
      {"conditions of one join in several rows all hold",
       Sales(LEFT).Join(LEFT, "顧客", "Orders", "Orders.OrderNo > 10"),
       "2 | 11; 1 | 12; 3 | -; 4 | -"},
      {"Orders and Goods come first; the customers are joined with that group, from the left",
       Q("顧客, Orders, Goods", "顧客.No, OrderNo, Maker")
           .Join(INNER, "Orders", "Goods", "Orders.Goods = Goods.Name")
           .Join(LEFT, "顧客", "Orders", "顧客.No = Orders.No"),
       "2 | 11 | A; 1 | 10 | B; 1 | 10 | C; 1 | 12 | A; 3 | - | -; 4 | - | -"},
      {"tables side by side",
       Q("顧客, Orders o", "顧客.No, o.OrderNo").Where("((o.No=顧客.No) And (o.OrderNo<>10))"),
       "2 | 11; 1 | 12"},
      {"side by side without a tie", Q("Numbers, Prices", "l, Mark"),
       "3 | three; 3 | half; 3 | huge; 1 | three; 1 | half; 1 | huge"},
      {"WHERE on the open side", Sales(LEFT).Where("OrderNo Is Null"), "3 | -; 4 | -"},
      {"WHERE on both", Sales(LEFT).Where("OrderNo = 10 Or 顧客.No = 4"), "1 | 10; 4 | -"},
      {"not null", Sales(LEFT).Where("Not OrderNo = 10"), "2 | 11; 1 | 12"},
      {"one table with itself",
       Q("Orders a, Orders b", "a.OrderNo, b.OrderNo")
           .Join(INNER, "a", "b", "a.Goods = b.Goods")
           .Where("a.OrderNo < b.OrderNo"),
       "10 | 14; 11 | 12"},
      {"In", where("Goods In (\"ink\",'pad')"), "11; 12; 13"},
      {"Like", where("Goods Like \"p*\" And Price >= 1.5"), "10; 13; 14"},
      {"a day", where("Day = #12/31/1995#"), "10; 14"},
      {"Between", where("Day Between #12/31/95# And #1/1/1996 12:00#"), "10; 11; 14"},
      {"Or", where("Price*2 > 7 Or No Is Null"), "11; 14"},
      {"Japanese", Q("顧客", "[No]").Where("市=\"東京\" And 名前<>\"表参道商店\""), "3"},
      {"null first; equal rows in their order", Q("Orders", "OrderNo").OrderBy("Day"),
       "13; 12; 10; 14; 11"},
      {"by two", Q("Orders", "OrderNo").OrderBy("Day", true).OrderBy("Price"),
       "11; 10; 14; 12; 13"},
      {"by text", Q("Orders", "OrderNo").OrderBy("Goods", true), "10; 14; 13; 11; 12"},
      {"by alias", Q("Orders", "-OrderNo AS Back").OrderBy("Back"), "-14; -13; -12; -11; -10"},
      {"by position", Q("Orders", "[No], OrderNo").OrderBy("2", true),
       "- | 14; 9 | 13; 1 | 12; 2 | 11; 1 | 10"},
      {"by what follows the piece in memory", Q("T", "n").OrderBy("a"), "2; 3; 1; 4"},
      {"likewise", Q("T", "n").OrderBy("a", true), "1; 4; 3; 2"},
      {"the first of equal rows", Q("Orders", "Goods").Options(DISTINCT), "pen; ink; pad"},
      {"of rows", Q("Orders", "Goods, [No]").Options(DISTINCT),
       "pen | 1; ink | 2; Ink | 1; pad | 9; pen | -"},
      {"rows that differ in unused tables only", Sales(INNER, "名前").Options(DISTINCT_ROW),
       "表参道商店; ABC"},
      {"and in used ones", Sales(INNER, "名前, Orders.No").Options(DISTINCT_ROW),
       "表参道商店 | 2; ABC | 1; ABC | 1"},
      {"rows that look the same are two", Q("Orders", "Goods").Options(DISTINCT_ROW),
       "pen; ink; Ink; pad; pen"},
      {"the first ones", top(TOP, "2"), "10; 11"},
      {"when sorted", top(TOP, "3").OrderBy("Goods"), "11; 12; 13"},
      {"with those that tie with the last", top(TOP, "4").OrderBy("Goods"), "11; 12; 13; 10; 14"},
      {"descending", top(TOP, "1").OrderBy("Day", true), "11"},
      {"more than there are", top(TOP, "99"), "10; 11; 12; 13; 14"},
      {"percent, rounded up", top(TOP_PERCENT, "41"), "10; 11; 12"},
      {"none", top(TOP, "0"), ""},
      {"a query over a query",
       Q("Joined", "[Joined].[顧客.No], Orders.No, Goods").Where("Price < 10"), "1 | 1 | pen"},
      {"one that is made whole drives",
       Q("Best, 顧客", "OrderNo, 名前").Join(LEFT, "Best", "顧客", "Best.No = 顧客.No"),
       "11 | 表参道商店; 14 | -"},
      {"or is joined",
       Q("顧客, Best", "顧客.No, OrderNo").Join(LEFT, "顧客", "Best", "Best.No = 顧客.No"),
       "2 | 11; 1 | -; 3 | -; 4 | -"},
      {"a computed column of the open side is null there, although it would have a value",
       Q("Orders, Marked", "OrderNo, M")
           .Join(LEFT, "Orders", "Marked", "Orders.Goods = Marked.Name")
           .Where("OrderNo >= 13"),
       "13 | -; 14 | xB; 14 | xC"},
  };
  for (const auto& row : CASES)
    EXPECT_EQ(Run(row.query), row.wanted) << row.why;
}

TEST_F(QueryTest, ColumnsAreNamedAsJetNamesThem) {
  EXPECT_THAT(
      ColumnNames(Q("顧客, Orders o", "顧客.*, o.no, OrderNo AS 注文, Price*2, o.Goods, o.Goods")),
      ElementsAre("顧客.No", "名前", "市", "o.No", "注文", "Expr1005", "Goods", "Expr1007"));
  EXPECT_THAT(ColumnNames(Q("Goods")), ElementsAre("Name", "Maker"));
  EXPECT_THAT(ColumnNames(Q("Goods", "Maker").Options(0x01)),
              ElementsAre("Maker", "Name", "Expr1002"));
}

TEST_F(QueryTest, ErrorsNameQueryClauseAndExpression) {
  struct ErrorCase {
    QueryRows query;
    std::string wanted;
  };
  const QueryRows orders = Q("Orders");
  const std::vector<ErrorCase> cases{
      {QueryRows(orders).Column("Sum(Price)", "S"), "column \"Sum(Price)\": the function \"Sum\""},
      {QueryRows(orders).Where("Price>(SELECT 1)"),
       "WHERE condition \"Price>(SELECT 1)\": the subquery"},
      {QueryRows(orders).OrderBy("Left(Goods,1)"), "ORDER BY expression \"Left(Goods,1)\""},
      {QueryRows(orders).Where("[enter a day]=1"), "has a column \"enter a day\""},
      {QueryRows(orders).Where("Orders.Nothing=1"), "\"Orders\" has no column \"Nothing\""},
      {QueryRows(orders).Where("Other.No=1"), "no source \"Other\""},
      {QueryRows(orders).From("顧客").Column("[No]"), "could be that of \"Orders\" and \"顧客\""},
      {QueryRows(orders).From("Nowhere"), "no table or query \"Nowhere\""},
      {QueryRows(orders).From("Goods", "orders"), "called \"orders\""},
      {QueryRows(orders).Add(9, "", "", "Goods"), "GROUP BY \"Goods\""},
      {QueryRows(orders).Add(10, "", "", "Goods>1"), "HAVING \"Goods>1\""},
      {QueryRows(orders).Add(2, "Which?", "", "", 10), "parameter \"Which?\""},
      {QueryRows(orders).Add(4, "C:\\x.mdb", "", ""), "another database, \"C:\\x.mdb\""},
      {QueryRows(orders).Add(5, "", "", "SELECT 1"), "source \"SELECT 1\""},
      {QueryRows(orders).Add(1, "", "", "", 9), "of kind 9"},
      {QueryRows(orders).Add(77, "", "", ""), "unknown kind 77"},
      {QueryRows(orders).Options(TOP, "ten"), "after TOP is \"ten\""},
      {QueryRows(orders).Options(0x40), "unknown option"},
      {QueryRows(orders).Column("No", "a").Column("Price", "A"), "columns are called \"A\""},
      {QueryRows(orders).From("顧客").Join(4, "Orders", "顧客", "Orders.No=顧客.No"),
       "unknown kind 4"},
      {QueryRows(orders).From("顧客").Join(INNER, "Orders", "X", "Orders.No=顧客.No"),
       "no source \"X\""},
      {QueryRows(orders).From("顧客").From("Goods").Join(INNER, "Orders", "顧客", "Maker=市"),
       "not joined yet"},
      {QueryRows(orders)
           .From("顧客")
           .Join(INNER, "Orders", "顧客", "Orders.No=顧客.No")
           .Join(LEFT, "Orders", "顧客", "Orders.No=顧客.No"),
       "joined already in another way"},
      {QueryRows(orders).From("Q", "again"), "takes its rows from itself"},
      {Q(), "names no table"},
      {QueryRows("Q", 0x30).From("Orders"), "an update query"},
  };
  for (const ErrorCase& each : cases) {
    const std::string error = ErrorOf(each.query);
    EXPECT_THAT(error, HasSubstr(each.wanted));
    EXPECT_THAT(error, HasSubstr("memory.mdb, table Q: "));
  }
  EXPECT_THROW((void)PreparedQuery(catalog_, "missing"), DatabaseError);
}

TEST_F(QueryTest, QueriesThatMultiplyWithoutEndAreRefused) {
  catalog_.AddQuery(QueryRows("Q0").Select("Goods", "Name AS n"));
  for (int i = 1; i <= 20; ++i) {
    const std::string number = std::to_string(i);
    const std::string beneath = std::to_string(i - 1);
    const std::string twice = i == 1 ? "Goods" : "W" + beneath;
    catalog_.AddQuery(QueryRows("Q" + number).Select("Q" + beneath, "n & n & n AS n"));
    catalog_.AddQuery(
        QueryRows("W" + number).Select(twice + " a, " + twice + " b", "a.Maker AS Maker"));
  }
  EXPECT_THAT(ErrorOf(Q("Q12")), HasSubstr("becomes too large"));
  EXPECT_THAT(ErrorOf(Q("Q20")), HasSubstr("levels deep"));
  EXPECT_THAT(ErrorOf(Q("W10")), HasSubstr("more than 64 tables"));
  catalog_.AddQuery(QueryRows("Ping").Select("Pong"));
  catalog_.AddQuery(QueryRows("Pong").Select("Ping"));
  EXPECT_THAT(ErrorOf(Q("ping")), HasSubstr("takes its rows from itself"));
}

// What is found and marked is left to the random queries.
TEST_F(QueryTest, RecordsetsEndAndRefuse) {
  const auto rows = Open(Sales(LEFT, "顧客.No AS No, OrderNo"));
  EXPECT_THROW((void)rows->GetFieldValue(std::size_t{2}), DatabaseError);
  EXPECT_THROW(rows->FindFirst("Other", 1), DatabaseError);
  EXPECT_TRUE(rows->FindFirst("no", 4));
  EXPECT_FALSE(rows->FindNext());
  EXPECT_TRUE(rows->IsEof());
  EXPECT_THROW(rows->MoveNext(), DatabaseError);
  EXPECT_THROW((void)rows->GetFieldValue("No"), DatabaseError);
  EXPECT_FALSE(rows->FindFirst("OrderNo", 13));
  rows->MoveFirst();
  EXPECT_EQ(ShowRow(*rows, 2), "2 | 11");
}

// The open side of an outer join equals the driving table where it has a row; what it is compared
// with does not.
TEST_F(QueryTest, LookupsDoNotConcludeThroughTheOpenSideOfAnOuterJoin) {
  const std::vector<std::pair<std::string, ColumnType>> columns{{"k", ColumnType::Long}};
  catalog_.AddTable("D", columns, {{Long(1)}, {Long(2)}});
  catalog_.AddTable("A", columns, {{Long(2)}});
  catalog_.AddTable("B", columns, {{Long(2)}});
  const auto rows = Open(Q("D, A, B", "D.k AS d, A.k AS a, B.k AS b")
                             .Join(INNER, "D", "A", "D.k <= A.k")
                             .Join(LEFT, "A", "B", "A.k = B.k And D.k = B.k"));
  ASSERT_TRUE(rows->FindFirst("a", 2));
  EXPECT_EQ(ShowRow(*rows, 3), "1 | 2 | -");
  ASSERT_TRUE(rows->FindNext());
  EXPECT_EQ(ShowRow(*rows, 3), "2 | 2 | 2");
  EXPECT_FALSE(rows->FindNext());
}

// Lookups through a join on the key, whichever of its tables the column comes from.
TEST_F(QueryTest, LookupsInAJoinDoNotWalk) {
  std::vector<Cells> mails;
  std::vector<Cells> texts;
  constexpr int COUNT = 2000;
  for (int i = 0; i < COUNT; ++i) {
    mails.push_back({Long(i), Cell("t")});
    if (i % 2 == 0) texts.push_back({Long(i), Cell("x")});
  }
  catalog_.AddTable("Mails", {{"DataNo", ColumnType::Long}, {"Title", ColumnType::Text}},
                    std::move(mails));
  catalog_.AddTable("Texts", {{"DataNo", ColumnType::Long}, {"Body", ColumnType::Text}},
                    std::move(texts));
  // A small part of what all lookups take together.
  catalog_.limits.steps = 1'000'000;
  for (const std::string& source : std::vector<std::string>{"Mails", "Texts"}) {
    const auto query = Prepare(Q("Mails, Texts", source + ".DataNo AS N, Title, Body")
                                   .Join(INNER, "Mails", "Texts", "Mails.DataNo = Texts.DataNo"));
    const std::uint64_t before = catalog_.PagesRead();
    for (int i = 0; i < COUNT; ++i) {
      const auto rows = std::make_unique<QueryRecordset>(query);
      ASSERT_EQ(rows->FindFirst("N", i), i % 2 == 0);
      if (i % 2 != 0) continue;
      ASSERT_EQ(Show(rows->GetFieldValue("Body")), "x");
    }
    EXPECT_LE(catalog_.PagesRead() - before, std::uint64_t{2 * COUNT});
  }
}

// What is walked is not made whole, and only rows that are asked for are read: the first page of
// "Orders", the only one of the customers for their index, and that again for the row.
TEST_F(QueryTest, AForwardScanReadsEachRowOnce) {
  const auto rows =
      Open(Q("Orders, 顧客", "OrderNo, 名前").Join(INNER, "Orders", "顧客", "Orders.No = 顧客.No"));
  const std::uint64_t before = catalog_.PagesRead();
  EXPECT_FALSE(rows->IsEof());
  EXPECT_EQ(catalog_.PagesRead() - before, 2U);
  EXPECT_EQ(Show(rows->GetFieldValue(std::size_t{1})), "ABC");
  EXPECT_EQ(catalog_.PagesRead() - before, 3U);
}

}  // namespace
}  // namespace nimport::jet
