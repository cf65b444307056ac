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
  }

  std::vector<std::string> Run(const QueryRows& rows) {
    catalog_.AddQuery(rows);
    return RunQuery(catalog_, "Q");
  }

  std::string ErrorOf(const QueryRows& rows) {
    catalog_.AddQuery(rows);
    try {
      (void)PreparedQuery(catalog_, "Q");
      return "none";
    } catch (const DatabaseError& error) {
      EXPECT_EQ(error.place().file, "memory.mdb");
      EXPECT_FALSE(error.place().table.empty());
      return error.what();
    }
  }

  std::vector<std::string> ColumnNames(const QueryRows& rows) {
    catalog_.AddQuery(rows);
    const auto query = std::make_shared<PreparedQuery>(catalog_, "Q");
    std::vector<std::string> names;
    for (const ColumnInfo& column : query->Columns()) {
      names.push_back(Show(Text{column.name}));
    }
    return names;
  }

  static QueryRows Q() { return QueryRows("Q"); }

  TestCatalog catalog_;
};

TEST_F(QueryTest, InnerJoinKeepsTheOrderOfItsLeftSide) {
  EXPECT_THAT(Run(Q().From("顧客")
                      .From("Orders")
                      .Column("[顧客].No")
                      .Column("OrderNo")
                      .Join(INNER, "顧客", "Orders", "顧客.No = Orders.No")),
              ElementsAre("2 | 11", "1 | 10", "1 | 12"));
}

TEST_F(QueryTest, OuterJoinsKeepTheOrderOfTheSideThatStays) {
  const std::string condition = "顧客.No = Orders.No";
  EXPECT_THAT(Run(Q().From("顧客").From("Orders").Column("顧客.No").Column("OrderNo").Join(
                  LEFT, "顧客", "Orders", condition)),
              ElementsAre("2 | 11", "1 | 10", "1 | 12", "3 | -", "4 | -"));
  EXPECT_THAT(Run(Q().From("顧客").From("Orders").Column("顧客.No").Column("OrderNo").Join(
                  RIGHT, "顧客", "Orders", condition)),
              ElementsAre("1 | 10", "2 | 11", "1 | 12", "- | 13", "- | 14"));
}

TEST_F(QueryTest, TextsJoinWithoutRegardToCaseAndNullJoinsNothing) {
  EXPECT_THAT(Run(Q().From("Orders").From("Goods").Column("OrderNo").Column("Maker").Join(
                  LEFT, "Orders", "Goods", "Orders.Goods = Goods.Name")),
              ElementsAre("10 | B", "10 | C", "11 | A", "12 | A", "13 | -", "14 | B", "14 | C"));
}

// An index of integers has no fractions and no numbers beyond 32 bits.
TEST_F(QueryTest, NumbersOfAllTypesJoin) {
  catalog_.AddTable("Prices", {{"Price", ColumnType::Double}, {"Mark", ColumnType::Text}},
                    {{3.0, Cell("three")}, {1.5, Cell("half")}, {1e10, Cell("huge")}});
  catalog_.AddTable("Numbers", {{"d", ColumnType::Double}, {"l", ColumnType::Long}},
                    {{1.5, Long(3)}, {1e10, Long(1)}});
  EXPECT_THAT(Run(Q().From("Numbers").From("Prices").Column("Mark").Join(INNER, "Numbers", "Prices",
                                                                         "d = Prices.Price")),
              ElementsAre("half", "huge"));
  EXPECT_THAT(Run(Q().From("Numbers").From("Prices").Column("Mark").Join(LEFT, "Numbers", "Prices",
                                                                         "l = Prices.Price")),
              ElementsAre("three", "-"));
  EXPECT_THAT(Run(Q().From("Prices").From("Numbers").Column("Mark").Join(INNER, "Prices", "Numbers",
                                                                         "l * 1.5 = Prices.Price")),
              ElementsAre("half"));
}

TEST_F(QueryTest, ConditionsOfOneJoinInSeveralRowsAllHold) {
  EXPECT_THAT(Run(Q().From("顧客")
                      .From("Orders")
                      .Column("顧客.No")
                      .Column("OrderNo")
                      .Join(LEFT, "顧客", "Orders", "顧客.No = Orders.No")
                      .Join(LEFT, "顧客", "Orders", "Orders.OrderNo > 10")),
              ElementsAre("2 | 11", "1 | 12", "3 | -", "4 | -"));
}

// Orders INNER JOIN Goods come first; the customers are joined with that group, from the left.
TEST_F(QueryTest, NestedGroupsOfJoins) {
  EXPECT_THAT(Run(Q().From("顧客")
                      .From("Orders")
                      .From("Goods")
                      .Column("顧客.No")
                      .Column("OrderNo")
                      .Column("Maker")
                      .Join(INNER, "Orders", "Goods", "Orders.Goods = Goods.Name")
                      .Join(LEFT, "顧客", "Orders", "顧客.No = Orders.No")),
              ElementsAre("2 | 11 | A", "1 | 10 | B", "1 | 10 | C", "1 | 12 | A", "3 | - | -",
                          "4 | - | -"));
}

TEST_F(QueryTest, TablesSideBySideTiedByWhere) {
  EXPECT_THAT(Run(Q().From("顧客")
                      .From("Orders", "o")
                      .Column("顧客.No")
                      .Column("o.OrderNo")
                      .Where("((o.No=顧客.No) And (o.OrderNo<>10))")),
              ElementsAre("2 | 11", "1 | 12"));
  EXPECT_EQ(Run(Q().From("顧客").From("Goods")).size(), 16U);
}

TEST_F(QueryTest, WhereOnTheOpenSideOfAnOuterJoin) {
  const auto query = [](const std::string& where) {
    return Q()
        .From("顧客")
        .From("Orders")
        .Column("顧客.No")
        .Column("OrderNo")
        .Join(LEFT, "顧客", "Orders", "顧客.No = Orders.No")
        .Where(where);
  };
  EXPECT_THAT(Run(query("OrderNo Is Null")), ElementsAre("3 | -", "4 | -"));
  EXPECT_THAT(Run(query("OrderNo = 10 Or 顧客.No = 4")), ElementsAre("1 | 10", "4 | -"));
  EXPECT_THAT(Run(query("Not OrderNo = 10")), ElementsAre("2 | 11", "1 | 12"));
}

TEST_F(QueryTest, OneTableJoinedWithItself) {
  EXPECT_THAT(Run(Q().From("Orders", "a")
                      .From("Orders", "b")
                      .Column("a.OrderNo")
                      .Column("b.OrderNo")
                      .Join(INNER, "a", "b", "a.Goods = b.Goods")
                      .Where("a.OrderNo < b.OrderNo")),
              ElementsAre("10 | 14", "11 | 12"));
}

TEST_F(QueryTest, WhereReadsTextsNumbersAndDates) {
  const auto query = [](const std::string& where) {
    return Q().From("Orders").Column("OrderNo").Where(where);
  };
  EXPECT_THAT(Run(query("Goods In (\"ink\",'pad')")), ElementsAre("11", "12", "13"));
  EXPECT_THAT(Run(query("Goods Like \"p*\" And Price >= 1.5")), ElementsAre("10", "13", "14"));
  EXPECT_THAT(Run(query("Day = #12/31/1995#")), ElementsAre("10", "14"));
  EXPECT_THAT(Run(query("Day Between #12/31/95# And #1/1/1996 12:00#")),
              ElementsAre("10", "11", "14"));
  EXPECT_THAT(Run(query("Price*2 > 7 Or No Is Null")), ElementsAre("11", "14"));
  EXPECT_THAT(Run(Q().From("顧客").Column("[No]").Where("市=\"東京\" And 名前<>\"表参道商店\"")),
              ElementsAre("3"));
}

TEST_F(QueryTest, OrderPutsNullFirstAndKeepsEqualRowsInTheirOrder) {
  EXPECT_THAT(Run(Q().From("Orders").Column("OrderNo").OrderBy("Day")),
              ElementsAre("13", "12", "10", "14", "11"));
  EXPECT_THAT(Run(Q().From("Orders").Column("OrderNo").OrderBy("Day", true).OrderBy("Price")),
              ElementsAre("11", "10", "14", "12", "13"));
  EXPECT_THAT(Run(Q().From("Orders").Column("OrderNo").OrderBy("Goods", true)),
              ElementsAre("10", "14", "13", "11", "12"));
  EXPECT_THAT(Run(Q().From("Orders").Column("-OrderNo", "Back").OrderBy("Back")),
              ElementsAre("-14", "-13", "-12", "-11", "-10"));
  EXPECT_THAT(Run(Q().From("Orders").Column("[No]").Column("OrderNo").OrderBy("2", true)),
              ElementsAre("- | 14", "9 | 13", "1 | 12", "2 | 11", "1 | 10"));
}

// The key in memory is cut after some bytes; what follows decides as well.
TEST_F(QueryTest, OrderReadsLongTextsToTheirEnd) {
  const std::string same(50, 'x');
  catalog_.AddTable("T", {{"a", ColumnType::Text}, {"n", ColumnType::Long}},
                    {{Cell(same + "b"), Long(1)},
                     {Cell(same), Long(2)},
                     {Cell(same + "a"), Long(3)},
                     {Cell(same + "B"), Long(4)}});
  EXPECT_THAT(Run(Q().From("T").Column("n").OrderBy("a")), ElementsAre("2", "3", "1", "4"));
  EXPECT_THAT(Run(Q().From("T").Column("n").OrderBy("a", true)), ElementsAre("1", "4", "3", "2"));
}

TEST_F(QueryTest, DistinctKeepsTheFirstOfEqualRows) {
  EXPECT_THAT(Run(Q().From("Orders").Column("Goods").Options(DISTINCT)),
              ElementsAre("pen", "ink", "pad"));
  EXPECT_THAT(Run(Q().From("Orders").Column("Goods").Column("[No]").Options(DISTINCT)),
              ElementsAre("pen | 1", "ink | 2", "Ink | 1", "pad | 9", "pen | -"));
}

TEST_F(QueryTest, DistinctRowDropsRowsThatDifferInUnusedTablesOnly) {
  const auto query = [](const std::string& second) {
    QueryRows rows = Q();
    rows.From("顧客").From("Orders").Column("名前").Join(INNER, "顧客", "Orders",
                                                         "顧客.No = Orders.No");
    if (!second.empty()) rows.Column(second);
    return rows.Options(DISTINCT_ROW);
  };
  EXPECT_THAT(Run(query("")), ElementsAre("表参道商店", "ABC"));
  EXPECT_THAT(Run(query("Orders.No")), ElementsAre("表参道商店 | 2", "ABC | 1", "ABC | 1"));
  // Two rows of one table that look the same are two rows.
  EXPECT_EQ(Run(Q().From("Orders").Column("Goods").Options(DISTINCT_ROW)).size(), 5U);
}

TEST_F(QueryTest, TopCountsRowsAndThoseThatTieWithTheLast) {
  const auto query = [](int options, const std::string& count) {
    return Q().From("Orders").Column("OrderNo").Options(options, count);
  };
  EXPECT_THAT(Run(query(TOP, "2")), ElementsAre("10", "11"));
  EXPECT_THAT(Run(query(TOP, "3").OrderBy("Goods")), ElementsAre("11", "12", "13"));
  EXPECT_THAT(Run(query(TOP, "4").OrderBy("Goods")), ElementsAre("11", "12", "13", "10", "14"));
  EXPECT_THAT(Run(query(TOP, "1").OrderBy("Day", true)), ElementsAre("11"));
  EXPECT_THAT(Run(query(TOP, "99")), ElementsAre("10", "11", "12", "13", "14"));
  EXPECT_THAT(Run(query(TOP_PERCENT, "41")), ElementsAre("10", "11", "12"));
  EXPECT_THAT(Run(query(TOP, "0")), ElementsAre());
}

TEST_F(QueryTest, ColumnsAreNamedAsJetNamesThem) {
  EXPECT_THAT(
      ColumnNames(Q().From("顧客")
                      .From("Orders", "o")
                      .Column("顧客.*")
                      .Column("o.no")
                      .Column("OrderNo", "注文")
                      .Column("Price*2")
                      .Column("o.Goods")
                      .Column("o.Goods")),
      ElementsAre("顧客.No", "名前", "市", "o.No", "注文", "Expr1005", "Goods", "Expr1007"));
  EXPECT_THAT(ColumnNames(Q().From("Goods")), ElementsAre("Name", "Maker"));
  EXPECT_THAT(ColumnNames(Q().From("Goods").Column("Maker").Options(0x01)),
              ElementsAre("Maker", "Name", "Expr1002"));
}

TEST_F(QueryTest, QueriesTakeRowsFromQueries) {
  catalog_.AddQuery(QueryRows("Joined")
                        .From("顧客")
                        .From("Orders")
                        .Join(INNER, "顧客", "Orders", "顧客.No = Orders.No")
                        .Where("Orders.Price Is Not Null"));
  catalog_.AddQuery(
      QueryRows("Best").From("Orders").Column("*").Options(TOP, "2").OrderBy("Price", true));
  catalog_.AddQuery(QueryRows("Marked").From("Goods").Column("Name").Column("\"x\" & Maker", "M"));
  EXPECT_THAT(Run(Q().From("Joined")
                      .Column("[Joined].[顧客.No]")
                      .Column("Orders.No")
                      .Column("Goods")
                      .Where("Price < 10")),
              ElementsAre("1 | 1 | pen"));
  EXPECT_THAT(Run(Q().From("Best").From("顧客").Column("OrderNo").Column("名前").Join(
                  LEFT, "Best", "顧客", "Best.No = 顧客.No")),
              ElementsAre("11 | 表参道商店", "14 | -"));
  EXPECT_THAT(Run(Q().From("顧客").From("Best").Column("顧客.No").Column("OrderNo").Join(
                  LEFT, "顧客", "Best", "Best.No = 顧客.No")),
              ElementsAre("2 | 11", "1 | -", "3 | -", "4 | -"));
  // A computed column of the open side is null there, although it would have a value.
  EXPECT_THAT(Run(Q().From("Orders")
                      .From("Marked")
                      .Column("OrderNo")
                      .Column("M")
                      .Join(LEFT, "Orders", "Marked", "Orders.Goods = Marked.Name")
                      .Where("OrderNo >= 13")),
              ElementsAre("13 | -", "14 | xB", "14 | xC"));
}

// The worked example of a builder's query: rows by hand.
TEST_F(QueryTest, DistinctJoinsWithTwoConditionsOnOneJoin) {
  const std::vector<std::pair<std::string, ColumnType>> columns{
      {"col1", ColumnType::Text}, {"col2", ColumnType::Text}, {"col3", ColumnType::Text}};
  catalog_.AddTable("Table1", columns,
                    {{Cell("buzz"), Cell("1"), Cell("a")},
                     {Cell("foo"), Cell("2"), Cell("b")},
                     {Cell("none"), Cell("3"), Cell("c")},
                     {Cell("bar"), Cell("4"), Cell("d")}});
  catalog_.AddTable("Table2", columns,
                    {{Cell("foo"), Cell("foo"), Cell("x")},
                     {Cell("foo"), Cell("buzz"), Cell("x")},
                     {Cell("Buzz"), Cell("buzz"), Cell("x")},
                     {Cell("bar"), Cell("bar"), Cell("x")},
                     {Cell("foo"), Cell("FOO"), Cell("y")}});
  catalog_.AddTable("Table3", columns,
                    {{Cell("foo"), Cell("p"), Cell("t1")},
                     {Cell("buzz"), Cell("p"), Cell("t2")},
                     {Cell("bar"), Cell("p"), Cell("t3")}});
  EXPECT_THAT(Run(Q().Options(DISTINCT)
                      .From("Table1")
                      .From("Table2")
                      .From("Table3")
                      .Column("Table1.*")
                      .Column("Table2.col1")
                      .Column("Table2.col2")
                      .Column("Table3.col3")
                      .Join(LEFT, "Table1", "Table3", "Table1.col1 = Table3.col1")
                      .Join(INNER, "Table3", "Table2", "Table3.col1 = Table2.col1")
                      .Join(INNER, "Table3", "Table2", "Table3.col1 = Table2.col2")
                      .Where("(((Table2.col2)=\"foo\" Or (Table2.col2) In (\"buzz\",\"bazz\")))")
                      .OrderBy("Table2.col1")),
              ElementsAre("buzz | 1 | a | Buzz | buzz | t2", "foo | 2 | b | foo | foo | t1"));
}

TEST_F(QueryTest, ErrorsNameQueryClauseAndExpression) {
  struct ErrorCase {
    QueryRows query;
    std::string wanted;
  };
  const QueryRows orders = Q().From("Orders");
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
      {QueryRows(orders).Options(TOP, "ten"), "behind TOP is \"ten\""},
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
  catalog_.AddQuery(QueryRows("Q0").From("Goods").Column("Name", "n"));
  for (int i = 1; i <= 20; ++i) {
    const std::string beneath = "Q" + std::to_string(i - 1);
    catalog_.AddQuery(QueryRows("Q" + std::to_string(i)).From(beneath).Column("n & n & n", "n"));
    catalog_.AddQuery(QueryRows("W" + std::to_string(i))
                          .From(i == 1 ? "Goods" : "W" + std::to_string(i - 1), "a")
                          .From(i == 1 ? "Goods" : "W" + std::to_string(i - 1), "b")
                          .Column("a.Maker", "Maker"));
  }
  EXPECT_THAT(ErrorOf(Q().From("Q12")), HasSubstr("becomes too large"));
  EXPECT_THAT(ErrorOf(Q().From("Q20")), HasSubstr("levels deep"));
  EXPECT_THAT(ErrorOf(Q().From("W10")), HasSubstr("more than 64 tables"));
  catalog_.AddQuery(QueryRows("Ping").From("Pong"));
  catalog_.AddQuery(QueryRows("Pong").From("Ping"));
  EXPECT_THAT(ErrorOf(Q().From("ping")), HasSubstr("takes its rows from itself"));
}

TEST_F(QueryTest, RecordsetMovesMarksAndFinds) {
  catalog_.AddQuery(Q().From("顧客")
                        .From("Orders")
                        .Column("顧客.No", "No")
                        .Column("OrderNo")
                        .Join(LEFT, "顧客", "Orders", "顧客.No = Orders.No"));
  const auto rows =
      std::make_unique<QueryRecordset>(std::make_shared<PreparedQuery>(catalog_, "Q"));
  rows->MoveNext();
  rows->MoveNext();
  const Bookmark mark = rows->GetBookmark();
  EXPECT_EQ(ShowRow(*rows, 2), "1 | 12");
  EXPECT_TRUE(rows->FindFirst("no", 1));
  EXPECT_EQ(ShowRow(*rows, 2), "1 | 10");
  EXPECT_TRUE(rows->FindNext());
  EXPECT_EQ(ShowRow(*rows, 2), "1 | 12");
  rows->MoveNext();  // goes on in the whole result
  EXPECT_EQ(ShowRow(*rows, 2), "3 | -");
  rows->SetBookmark(mark);
  EXPECT_EQ(ShowRow(*rows, 2), "1 | 12");
  EXPECT_FALSE(rows->FindNext());
  EXPECT_TRUE(rows->IsEof());
  EXPECT_THROW(rows->MoveNext(), DatabaseError);
  EXPECT_THROW((void)rows->GetFieldValue("No"), DatabaseError);
  EXPECT_FALSE(rows->FindFirst("OrderNo", 13));
  EXPECT_THROW(rows->FindFirst("Other", 1), DatabaseError);
  rows->MoveFirst();
  EXPECT_EQ(ShowRow(*rows, 2), "2 | 11");
  EXPECT_THROW((void)rows->GetFieldValue(std::size_t{2}), DatabaseError);
}

// The open side of an outer join equals the driving table where it has a row; what it is compared
// with does not.
TEST_F(QueryTest, LookupsDoNotConcludeThroughTheOpenSideOfAnOuterJoin) {
  const std::vector<std::pair<std::string, ColumnType>> columns{{"k", ColumnType::Long}};
  catalog_.AddTable("D", columns, {{Long(1)}, {Long(2)}});
  catalog_.AddTable("A", columns, {{Long(2)}});
  catalog_.AddTable("B", columns, {{Long(2)}});
  catalog_.AddQuery(Q().From("D")
                        .From("A")
                        .From("B")
                        .Column("D.k", "d")
                        .Column("A.k", "a")
                        .Column("B.k", "b")
                        .Join(INNER, "D", "A", "D.k <= A.k")
                        .Join(LEFT, "A", "B", "A.k = B.k And D.k = B.k"));
  const auto rows =
      std::make_unique<QueryRecordset>(std::make_shared<PreparedQuery>(catalog_, "Q"));
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
    catalog_.AddQuery(Q().From("Mails")
                          .From("Texts")
                          .Column(source + ".DataNo", "N")
                          .Column("Title")
                          .Column("Body")
                          .Join(INNER, "Mails", "Texts", "Mails.DataNo = Texts.DataNo"));
    const auto query = std::make_shared<PreparedQuery>(catalog_, "Q");
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
  catalog_.AddQuery(Q().From("Orders").From("顧客").Column("OrderNo").Column("名前").Join(
      INNER, "Orders", "顧客", "Orders.No = 顧客.No"));
  const auto rows =
      std::make_unique<QueryRecordset>(std::make_shared<PreparedQuery>(catalog_, "Q"));
  const std::uint64_t before = catalog_.PagesRead();
  EXPECT_FALSE(rows->IsEof());
  EXPECT_EQ(catalog_.PagesRead() - before, 2U);
  EXPECT_EQ(Show(rows->GetFieldValue(std::size_t{1})), "ABC");
  EXPECT_EQ(catalog_.PagesRead() - before, 3U);
}

}  // namespace
}  // namespace nimport::jet
