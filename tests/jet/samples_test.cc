// Real databases against what other readers read from them.
#include <algorithm>
#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "jet/database.h"
#include "jetdump/json_value.h"
#include "tests/common/memory_file.h"
#include "text/ascii.h"
#include "text/code_page_converter.h"

namespace nimport::jet {
namespace {

using Json = nlohmann::json;

const std::string SAMPLES = NIMPORT_SHARED_SAMPLES;
const text::CodePageConverter CONVERTER;

class Samples : public testing::Test {
 protected:
  void SetUp() override {
    if (!std::filesystem::exists(SAMPLES)) GTEST_SKIP() << "no " << SAMPLES;
  }
};

Json ReadJson(const std::string& path) {
  return Json::parse(std::ifstream(path));
}

// Names and texts are UTF-8.
std::unique_ptr<Database> Open(const std::string& path) {
  return Database::Open(std::make_unique<MemoryFile>(path, ReadWholeFile(path)), CONVERTER,
                        {.textCodePage = text::CODE_PAGE_UTF8});
}

bool IsEqual(const Json& wanted, const Json& got) {
  if (!wanted.is_string() || !got.is_string()) return wanted == got;
  // The other reader took Jet 3 text for UTF-8; the one byte that is none is a pound sign.
  if (wanted == "\xEF\xBF\xBD") return got == "\xC2\xA3";
  // The letter case of hexadecimal digits does not matter.
  return text::EqualsIgnoringCase(wanted.get<std::string>(), got.get<std::string>());
}

void ExpectRows(const TableDefinition& table, const Json& wantedRows) {
  EXPECT_EQ(table.RecordCount(), wantedRows.size());
  const auto rows = table.OpenRecordset();
  for (const Json& wanted : wantedRows) {
    ASSERT_FALSE(rows->IsEof());
    if (wanted.contains("#")) {
      EXPECT_EQ(rows->GetBookmark().position >> 8, wanted["#"][0]);
      EXPECT_EQ(rows->GetBookmark().position & 0xFF, wanted["#"][1]);
    }
    for (const ColumnInfo& column : table.Columns()) {
      const Json got = Json::parse(jetdump::ToJson(rows->GetFieldValue(column.name)));
      EXPECT_TRUE(IsEqual(wanted[column.name], got))
          << column.name << ": wanted " << wanted[column.name] << ", got " << got;
    }
    rows->MoveNext();
  }
  EXPECT_TRUE(rows->IsEof());
}

void ExpectTables(Database& database, const Json& tables) {
  EXPECT_EQ(database.TableNames().size(), tables.size());
  for (const auto& [name, wanted] : tables.items()) {
    SCOPED_TRACE(name);
    const auto table = database.OpenTable(name);
    ASSERT_EQ(table->Columns().size(), wanted["columns"].size());
    for (const Json& column : wanted["columns"]) {
      EXPECT_NE(
          std::ranges::find(table->Columns(), column["name"].get<std::string>(), &ColumnInfo::name),
          table->Columns().end())
          << column["name"];
    }
    ExpectRows(*table, wanted["rows"]);
  }
}

TEST_F(Samples, PublicDatabasesReadAsOtherReadersReadThem) {
  for (const auto& entry : std::filesystem::directory_iterator(SAMPLES + "/jet-public")) {
    std::filesystem::path path = entry.path();
    if (path.extension() != ".mdb") continue;
    SCOPED_TRACE(path);
    const auto database = Open(path.string());
    const Json reference = ReadJson(path.replace_extension("json").string());
    ExpectTables(*database, reference["tables"]);
    EXPECT_EQ(database->QueryNames().size(), reference["queries"].size());
  }
}

std::vector<std::string> NamesOf(const std::vector<ColumnInfo>& columns) {
  std::vector<std::string> names;
  for (const ColumnInfo& column : columns)
    names.push_back(column.name);
  return names;
}

void ExpectQuery(const QueryDefinition& query, const Json& wanted) {
  EXPECT_EQ(NamesOf(query.Columns()), wanted["columns"].get<std::vector<std::string>>());
  const auto rows = query.OpenRecordset();
  const Json& dataNos = wanted["dataNos"];
  std::size_t count = 0;
  for (; !rows->IsEof(); rows->MoveNext(), ++count) {
    if (dataNos.is_null()) continue;
    EXPECT_EQ(ToInteger(rows->GetFieldValue("DataNo")), dataNos[count].get<int>());
  }
  EXPECT_EQ(count, wanted["rowCount"].get<std::size_t>());
  for (int dataNo = 0; dataNo < 300 && !dataNos.is_null(); ++dataNo) {
    const bool isThere = std::find(dataNos.begin(), dataNos.end(), dataNo) != dataNos.end();
    EXPECT_EQ(rows->FindFirst("DataNo", dataNo), isThere) << dataNo;
    EXPECT_EQ(rows->IsEof(), !isThere);
    if (!isThere) continue;
    EXPECT_EQ(ToInteger(rows->GetFieldValue("dataNO")), dataNo);
  }
}

TEST_F(Samples, DemoStoreHoldsItsTablesAndQueries) {
  const std::string store = SAMPLES + "/demo-jet4";
  const Json expected = ReadJson(store + "/expected.json");
  std::size_t selects = 0;
  for (const auto& [file, contents] : expected["databases"].items()) {
    SCOPED_TRACE(file);
    const auto database = Open(store + "/c/NIFTY/Data/" + file);
    ExpectTables(*database, contents["tables"]);
    for (const auto& [name, query] : contents["queries"].items()) {
      SCOPED_TRACE(name);
      if (query.contains("columns")) {
        ExpectQuery(*database->OpenQuery(name), query);
        ++selects;
      } else {
        EXPECT_THROW((void)database->OpenQuery(name), DatabaseError);
      }
    }
  }
  EXPECT_EQ(selects, 11U);
}

// All nine kinds, in both versions: the tables are empty, so what counts is what is understood.
TEST_F(Samples, QueriesOfAllKindsAreUnderstoodOrNamed) {
  const std::pair<const char*, const char*> wantedReasons[] = {
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
    const auto database = Open(SAMPLES + "/jet-public/queryTestV" + version + ".mdb");
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
