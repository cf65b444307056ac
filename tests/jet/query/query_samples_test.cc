// The stored queries of real databases against what belongs to them.
#include <algorithm>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "jet/database.h"
#include "tests/jet/samples.h"
#include "text/code_page_converter.h"

namespace nimport::jet {
namespace {

using Json = nlohmann::json;

class QuerySamplesTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!HaveSamples()) GTEST_SKIP() << "no sample databases beside the project";
  }

  static Json ReadJson(const std::string& path) { return Json::parse(std::ifstream(path)); }

  [[nodiscard]] std::unique_ptr<Database> Open(const std::string& path) const {
    return Database::Open(std::make_unique<MemoryFile>(path, ReadWholeFile(path)), converter_);
  }

  [[nodiscard]] std::string ToCodePage(const std::string& utf8) const {
    return converter_.FromUtf16(converter_.ToUtf16(utf8, text::CODE_PAGE_UTF8),
                                text::CODE_PAGE_JAPANESE);
  }

  [[nodiscard]] Value ToValue(const Json& json) const {
    if (json.is_number()) return json.get<std::int32_t>();
    return json.is_null() ? Value() : Value(Text{ToCodePage(json)});
  }

  static std::vector<std::string> NamesOf(const std::vector<ColumnInfo>& columns) {
    std::vector<std::string> names;
    for (const ColumnInfo& column : columns)
      names.push_back(column.name);
    return names;
  }

  void ExpectResult(Database& database, const std::string& name, const Json& wanted) const {
    SCOPED_TRACE(name);
    const auto query = database.OpenQuery(ToCodePage(name));
    EXPECT_EQ(NamesOf(query->Columns()), wanted["columns"].get<std::vector<std::string>>());
    const auto rows = query->OpenRecordset();
    std::size_t count = 0;
    for (; !rows->IsEof(); rows->MoveNext()) {
      if (!wanted["dataNos"].is_null()) {
        EXPECT_EQ(ToInteger(rows->GetFieldValue("DataNo")), wanted["dataNos"][count].get<int>());
      }
      ++count;
    }
    EXPECT_EQ(count, wanted["rowCount"].get<std::size_t>());
    if (!wanted["dataNos"].is_null()) ExpectLookups(*rows, wanted["dataNos"]);
  }

  static void ExpectLookups(Recordset& rows, const Json& dataNos) {
    for (int dataNo = 0; dataNo < 300; ++dataNo) {
      const bool isThere = std::find(dataNos.begin(), dataNos.end(), dataNo) != dataNos.end();
      EXPECT_EQ(rows.FindFirst("DataNo", dataNo), isThere) << dataNo;
      EXPECT_EQ(rows.IsEof(), !isThere);
      if (!isThere) continue;
      EXPECT_EQ(ToInteger(rows.GetFieldValue("dataNO")), dataNo);
    }
  }

  text::CodePageConverter converter_;
};

TEST_F(QuerySamplesTest, EveryQueryOfTheDemoStoreGivesItsRows) {
  const std::string folder = SamplesFolder() + "/demo-jet4";
  const Json wanted = ReadJson(folder + "/expected.json");
  std::size_t selects = 0;
  for (const auto& [file, contents] : wanted["databases"].items()) {
    const auto database = Open(folder + "/c/NIFTY/Data/" + file);
    for (const auto& [name, query] : contents["queries"].items()) {
      if (query.contains("columns")) {
        ExpectResult(*database, name, query);
        ++selects;
      } else {
        EXPECT_THROW((void)database->OpenQuery(ToCodePage(name)), DatabaseError) << name;
      }
    }
  }
  EXPECT_EQ(selects, 11U);
}

// Joined columns of the two rows of one mail, and of a mail without the second.
TEST_F(QuerySamplesTest, ValuesComeFromTheRightTable) {
  const std::string folder = SamplesFolder() + "/demo-jet4";
  const Json tables = ReadJson(folder + "/expected.json")["databases"]["Cabdata.mdb"]["tables"];
  const auto database = Open(folder + "/c/NIFTY/Data/Cabdata.mdb");
  const auto rows = database->OpenQuery(ToCodePage("EmSMailｸｴﾘｰ"))->OpenRecordset();
  std::size_t withoutMail = 0;
  for (const Json& data : tables["DataTBL"]["rows"]) {
    const int dataNo = data["DataNo"];
    ASSERT_TRUE(rows->FindFirst("DataNo", dataNo));
    const auto& mails = tables["EmSMail"]["rows"];
    const auto mail = std::find_if(mails.begin(), mails.end(),
                                   [dataNo](const Json& each) { return each["DataNo"] == dataNo; });
    if (mail == mails.end()) {
      ++withoutMail;
      EXPECT_TRUE(IsNull(rows->GetFieldValue("ToField")));
      EXPECT_TRUE(IsNull(rows->GetFieldValue("DataSize")));
    } else {
      EXPECT_EQ(rows->GetFieldValue("DataSize"), ToValue((*mail)["DataSize"]));
      EXPECT_EQ(rows->GetFieldValue("ToField"), ToValue((*mail)["ToField"]));
    }
    EXPECT_EQ(rows->GetFieldValue("DataTitle"), ToValue(data["DataTitle"]));
  }
  EXPECT_EQ(withoutMail, 45U);
}

// All nine kinds, in both versions: the tables are empty, so what counts is what is understood.
TEST_F(QuerySamplesTest, QueriesOfAllKindsAreUnderstoodOrNamed) {
  const std::map<std::string, std::string> wantedReasons{
      {"AppendQuery", "an append query"},
      {"CrosstabQuery", "a crosstab query"},
      {"DataDefinitionQuery", "a data definition query"},
      {"DeleteQuery", "a delete query"},
      {"MakeTableQuery", "a make-table query"},
      {"PassthroughQuery", "a pass-through query"},
      {"UnionQuery", "a UNION query"},
      {"UpdateQuery", "an update query"},
  };
  for (const std::string version : {"1997", "2000"}) {
    const auto database = Open(SamplesFolder() + "/jet-public/queryTestV" + version + ".mdb");
    EXPECT_EQ(database->QueryNames().size(), 9U);
    for (const auto& [name, reason] : wantedReasons) {
      try {
        (void)database->OpenQuery(name);
        ADD_FAILURE() << name << " opened";
      } catch (const DatabaseError& error) {
        EXPECT_EQ(error.place().table, name);
        EXPECT_THAT(error.what(), testing::HasSubstr(reason));
      }
    }
    const auto query = database->OpenQuery("SelectQuery");
    // Every name occurs in two of the tables.
    EXPECT_THAT(NamesOf(query->Columns()),
                testing::ElementsAre("Table1.col1", "Table1.col2", "Table1.col3", "Table2.col1",
                                     "Table2.col2", "Table3.col3"));
    EXPECT_TRUE(query->OpenRecordset()->IsEof());
  }
}

}  // namespace
}  // namespace nimport::jet
