#include <random>

#include <gtest/gtest.h>

#include "jet/query/expression/expression_evaluator.h"
#include "jet/query/expression/expression_parser.h"
#include "jet/query/expression/sql_text.h"
#include "jet/query/query_scope.h"
#include "tests/jet/test_catalog.h"

namespace nimport::jet {
namespace {

std::string Evaluated(const std::string& sql) {
  const text::CodePageConverter converter;
  const QueryContext context{
      .fileName = {},
      .queryName = {},
      .texts = TextRules(converter, text::CODE_PAGE_JAPANESE),
      .tables = {},
      .budget = std::make_unique<QueryBudget>("", "", QueryLimits::ForFile(0))};
  try {
    const Value value =
        Evaluate(*QueryScope(context.texts).Bind(*ParseExpression(sql)), RowSet(context));
    if (const auto* truth = std::get_if<bool>(&value)) return *truth ? "true" : "false";
    return Show(value);
  } catch (const SqlError& error) {
    return std::string("error: ") + error.what();
  }
}

struct Case {
  std::string sql;
  std::string wanted;
};

void ExpectAll(const std::vector<Case>& cases) {
  for (const Case& each : cases)
    EXPECT_EQ(Evaluated(each.sql), each.wanted) << each.sql;
}

TEST(ExpressionTest, LiteralsOfEveryKind) {
  ExpectAll({
      {"10", "10"},
      {"-2147483648", "-2147483648"},
      {"2147483648", "2147483648.000000"},
      {".5", "0.500000"},
      {"1.5E+2", "150"},
      {"&HFF", "255"},
      {"&hFFFF", "-1"},
      {"\"a\"\"b'c\"", "a\"b'c"},
      {"'it''s'", "it's"},
      {"\"\"", ""},
      {"\"表示ｸｴﾘｰ\"", "表示ｸｴﾘｰ"},  // the second bytes of some are ASCII in code page 932
      {"Null", "-"},
      {"Yes", "true"},
      {"OFF", "false"},
  });
}

// Wanted: days since 1899-12-30, counted by a calendar.
TEST(ExpressionTest, DatesAreAmericanWhateverTheSystem) {
  ExpectAll({
      {"#1/2/1900#", "day 3.000000"},
      {"#12/31/95#", "day 35064.000000"},
      {"#31/12/95#", "day 35064.000000"},  // no month 31
      {"#1995-12-31 6:00:00#", "day 35064.250000"},
      {"#1/1/29#", "day 47119.000000"},
      {"#1/1/30#", "day 10959.000000"},
      {"#12:00:00 AM#", "day 0.000000"},
      {"#12/30/1899 6:00 PM#", "day 0.750000"},
      {"#2/30/1995#", "error: \"2/30/1995\" at byte 0 is no valid date"},
      {"#13:00 PM#", "error: \"13:00 PM\" at byte 0 is no valid date"},
      {"#1/2#", "error: \"1/2\" at byte 0 is no valid date"},
      {"##", "error: \"\" at byte 0 is no valid date"},
  });
}

TEST(ExpressionTest, OperatorsBindAsJetBindsThem) {
  ExpectAll({
      {"1+2*3", "7"},
      {"-2^2", "-4"},
      {"2^-1", "0.500000"},
      {"7\\2*2", "1"},     // * before the whole-number division
      {"5 Mod 3*2", "5"},  // and before Mod
      {"10-2-3", "5"},
      {"1+2&3+4", "37"},
      {"1 & \" \" & Null & 2", "1 2"},
      {"Not 1=2 And 3>2", "true"},
      {"1=1 Or 1/0", "true"},
      {"(1=2 Or 2=2) And 3<>3", "false"},
      {"\"a\"+\"b\"", "ab"},
      {"1/0", "-"},
      {"2147483647+1", "2147483648.000000"},
      {"-2147483648\\-1", "2147483648.000000"},
      {"#1/2/1900#+1", "day 4.000000"},
  });
}

TEST(ExpressionTest, NullMakesConditionsUnknown) {
  ExpectAll({
      {"Null=Null", "-"},
      {"Null<>1", "-"},
      {"Not Null=1", "-"},
      {"Null=1 And 1=2", "false"},
      {"Null=1 Or 1=1", "true"},
      {"Null=1 Or 1=2", "-"},
      {"Null Is Null", "true"},
      {"1 Is Not Null", "true"},
      {"1 In (2,Null)", "-"},
      {"1 In (Null,1)", "true"},
      {"1 Not In (2,3)", "true"},
      {"Null Between 1 And 2", "-"},
      {"Null Like \"*\"", "-"},
      {"5 Between Null And 3", "-"},  // either limit may be the lower one
  });
}

TEST(ExpressionTest, ComparisonsOfNumbersTextsAndDates) {
  ExpectAll({
      {"2 Between 1 And 3", "true"},
      {"2 Between 3 And 1", "true"},  // Jet takes the limits in either order
      {"4 Not Between 1 And 3", "true"},
      {"\"ABC\"=\"abc\"", "true"},
      {"\"abc\"<\"ABD\"", "true"},
      {"\"ア\"=\"ヂ\"", "false"},  // 83 41 and 83 61: no letter case there
      {"\"Aア\"=\"aア\"", "true"},
      {"\"10\"=10", "true"},
      {"\"x\"=10", "-"},
      {"True=-1", "true"},
      {"#1/2/1900#=3", "true"},
  });
}

TEST(ExpressionTest, LikePatterns) {
  ExpectAll({
      {"\"abc\" Like \"A*\"", "true"},
      {"\"abc\" Like \"*b*\"", "true"},
      {"\"abc\" Like \"a?c\"", "true"},
      {"\"abc\" Like \"a\"", "false"},
      {"\"\" Like \"*\"", "true"},
      {"\"\" Like \"?\"", "false"},
      {"\"a1\" Like \"a#\"", "true"},
      {"\"ab\" Like \"a#\"", "false"},
      {"\"b\" Like \"[a-c]\"", "true"},
      {"\"d\" Like \"[!a-c]\"", "true"},
      {"\"-\" Like \"[a-]\"", "true"},
      {"\"!\" Like \"[!]\"", "true"},
      {"\"*x\" Like \"[*]x\"", "true"},
      {"\"ab\" Like \"a[]b\"", "true"},
      {"\"m\" Like \"[x-za-f-m]\"", "true"},
      {"\"b\" Like \"[c-a]\"", "false"},
      {"\"aba\" Like \"ab*ba\"", "false"},  // the ends may not overlap
      {"\"ab1b2\" Like \"*b#*\"", "true"},
      {"\"aabaabaaab\" Like \"*aabaaa*\"", "true"},
      {"\"aabaabaab\" Like \"*aabaaa*\"", "false"},
      {"\"ab\" Like \"**a**b**\"", "true"},
      {"\"a%b_\" Like \"a%b_\"", "true"},
      {"\"東京都\" Like \"東?都\"", "true"},
      {"\"表\" Like \"?\"", "true"},     // two bytes, one character
      {"\"表\" Like \"*\\\"", "false"},  // its second byte is a backslash
      {"\"abc\" Not Like \"b*\"", "true"},
      {"12 Like \"1*\"", "true"},
      {"\"aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa\" Like \"*a*a*a*a*a*a*a*a*a*b\"", "false"},
      {"\"a\" Like \"[a\"", "error: a bracket in the pattern of Like is not closed"},
  });
}

TEST(ExpressionTest, ColumnsMayBeWrittenInManyWays) {
  struct ColumnCase {
    std::string sql, source, name;
  };
  const std::vector<ColumnCase> cases{
      {"DataNo", "", "DataNo"},
      {"[Data No]", "", "Data No"},
      {"DataTBL.DataNo", "DataTBL", "DataNo"},
      {"[DataTBL]![No]", "DataTBL", "No"},
      {"[EmShopｸｴﾘｰ].題名", "EmShopｸｴﾘｰ", "題名"},
      {"T.No", "T", "No"},  // a keyword may be a column's name after a point
      {"Q.[T.x]", "Q", "T.x"},
      {"Q.T.x", "Q", "T.x"},
      {"T.[1st]", "T", "1st"},
      {"`a b`.c", "a b", "c"},
  };
  for (const ColumnCase& each : cases) {
    const auto parsed = ParseExpression(each.sql);
    EXPECT_EQ(parsed->operation, Operation::Column) << each.sql;
    EXPECT_EQ(parsed->source, each.source) << each.sql;
    EXPECT_EQ(parsed->name, each.name) << each.sql;
  }
  EXPECT_EQ(ParseExpression("*")->operation, Operation::AllColumns);
  EXPECT_EQ(ParseExpression("[Data TBL].*")->source, "Data TBL");
}

TEST(ExpressionTest, ErrorsSayWhatAndWhere) {
  ExpectAll({
      {"", "error: it is empty"},
      {"Count(*)", "error: the function \"Count\" at byte 0 is not evaluated"},
      {"1+IIf(a,b,c)", "error: the function \"IIf\" at byte 2 is not evaluated"},
      {"x In (SELECT a FROM b)", "error: the subquery at byte 6 is not evaluated"},
      {"Exists (SELECT 1)", "error: the subquery at byte 0 is not evaluated"},
      {"1 Xor 2", "error: the operator \"Xor\" at byte 2 is not evaluated"},
      {"1 +", "error: it ends too early"},
      {"(1", "error: it ends too early"},
      {"1 2", "error: \"2\" at byte 2 has no meaning there"},
      {"\"abc", "error: the \" at byte 0 is never closed"},
      {"[abc", "error: the [ at byte 0 is never closed"},
      {"1 ; 2", "error: the character at byte 2 has no meaning there"},
      {"1+*", "error: \"*\" at byte 2 has no meaning there"},
      {"(T.*)", "error: \")\" at byte 4 has no meaning there"},
      {"1e999", "error: \"1e999\" at byte 0 is no valid number"},
  });
}

TEST(ExpressionTest, DepthAndLengthAreLimited) {
  const auto repeat = [](const std::string& part, std::size_t count) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i)
      text += part;
    return text;
  };
  const std::string tooDeep = "error: it is nested too deeply";
  EXPECT_EQ(Evaluated(repeat("(", 50) + "1" + repeat(")", 50)), "1");
  EXPECT_EQ(Evaluated(repeat("(", 30'000) + "1" + repeat(")", 30'000)), tooDeep);
  EXPECT_EQ(Evaluated(repeat("Not ", 10'000) + "1"), tooDeep);
  EXPECT_EQ(Evaluated(repeat("- ", 10'000) + "x"), tooDeep);
  EXPECT_EQ(Evaluated("1" + repeat("+1", 10'000)), tooDeep);
  EXPECT_EQ(Evaluated("1=2" + repeat(" Or 1=2", 5'000) + " Or 1=1"), "true");
  EXPECT_EQ(Evaluated("0 In (1" + repeat(",1", 20'000) + ")"), "false");
  EXPECT_EQ(Evaluated(repeat(" ", 70'000)), "error: it is longer than 65536 bytes");
}

// Whatever stands in the file, parsing ends with a tree or a SqlError.
TEST(ExpressionTest, AnyBytesAreParsedOrRefused) {
  const std::vector<std::string> parts{
      "(",   ")", "[", "]",    "\"",   "'",    "#",    "1",    "&H",  ".",       "!", "*",
      "Not", " ", "a", "\xE8", " In ", "Like", " Is ", "Null", "And", "Between", ",", "-"};
  std::mt19937 random(20240611);
  std::size_t parsed = 0;
  for (int round = 0; round < 20'000; ++round) {
    std::string sql;
    for (std::size_t i = random() % 12; i > 0; --i) {
      sql += random() % 20 == 0 ? std::string(1, static_cast<char>(random()))
                                : parts[random() % parts.size()];
    }
    try {
      EXPECT_NE(ParseExpression(sql), nullptr);
      ++parsed;
    } catch (const SqlError& error) {
      EXPECT_STRNE(error.what(), "") << sql;
    }
  }
  EXPECT_GT(parsed, 500U);
}

}  // namespace
}  // namespace nimport::jet
