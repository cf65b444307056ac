// Stores that are made from descriptions, as jetdump shows them.
#include "mkstore/store_writer.h"

#include <map>
#include <set>
#include <sstream>
#include <tuple>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "jetdump/json_dump.h"
#include "platform/platform.h"
#include "tests/common/test_directory.h"

namespace nimport::mkstore {
namespace {

using nlohmann::json;
using tests::TestDirectory;

constexpr JetVersion VERSIONS[] = {JetVersion::Jet3, JetVersion::Jet4};

json ReadSample(const std::string& name) {
  return json::parse(std::ifstream(std::filesystem::path(NIMPORT_SOURCE_DIR) / "samples" / name));
}

std::unique_ptr<jet::Database> Open(const std::filesystem::path& file) {
  platform::Platform& platform = platform::SystemPlatform();
  return jet::Database::Open(platform.files().OpenForReading(file.string()), platform.text(),
                             {.textCodePage = text::CODE_PAGE_UTF8});
}

// All tables and queries of a database. Names and texts are UTF-8.
json Dump(const std::filesystem::path& file, bool withRows = true) {
  const auto database = Open(file);
  std::ostringstream out;
  std::ostringstream errors;
  EXPECT_TRUE(jetdump::DumpDatabase(
      *database,
      {.tables = database->TableNames(), .queries = database->QueryNames(), .withRows = withRows},
      out, errors))
      << errors.str();
  return json::parse(out.str());
}

// The rows of a table or, where there is none of that name, of a query.
json RowsOf(const Store& store, const std::string& database, const std::string& name) {
  json dump = Dump(store.databaseDirectory / database);
  return dump[dump["tables"].contains(name) ? "tables" : "queries"][name]["rows"];
}

// Both versions hold the same, whatever happened to their tables: rows that moved or were deleted,
// columns that came and went.
TEST(StoreWriter, FormsAndHistoryAreNotSeen) {
  const TestDirectory folder;
  const auto dump = [&](const json& description, JetVersion version, const char* file) {
    const Store store = MakeStore(description, folder.path(), {.format = version});
    json tables = Dump(store.databaseDirectory / file);
    tables["queries"].erase("未読ｸﾘｱｸｴﾘｰ");  // an update, whose error names the file
    return tables;
  };
  const json demo = ReadSample("demo-ja.json");
  for (const char* file : {"Cabdata.mdb", "Abook.mdb"})
    EXPECT_EQ(dump(demo, JetVersion::Jet3, file), dump(demo, JetVersion::Jet4, file));
  // Of each kind one, of unknown ones too.
  std::set<int> kinds;
  const json mails = dump(demo, JetVersion::Jet3, "Cabdata.mdb");
  for (const json& mail : mails["tables"]["DataTBL"]["rows"]) {
    const int kind = mail["DataType"].get<int>();
    kinds.insert(kind);
    EXPECT_TRUE(mail["DataTitle"].is_null() || (kind != 21 && kind != 28)) << "stands elsewhere";
  }
  EXPECT_EQ(kinds, (std::set<int>{17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27,
                                  28, 29, 30, 31, 32, 33, 34, 36, 38, 39}));

  json description;
  for (int i = 1; i <= 20; ++i) {
    description["mails"].push_back(
        {{"folder", 1}, {"kind", 20}, {"columns", {{"TextData", std::to_string(i)}}}});
  }
  const json plain = dump(description, JetVersion::Jet3, "Cabdata.mdb");
  EXPECT_EQ(plain["queries"]["EmSMailｸｴﾘｰ"]["rows"].size(), 20U) << "an outer join";
  description["tables"]["EmRcvText"] = json::parse(R"json({"movedEvery": 3, "deletedEvery": 4,
      "deletedColumns": [{"column": "Old Text(10)", "before": "OriginatorName"},
                         {"column": "Flag Byte", "before": "TextData"}],
      "addedColumns": {"count": 2, "afterRows": 7}})json");
  for (const JetVersion version : VERSIONS) {
    for (const bool keepBytes : {false, true}) {
      description["tables"]["EmRcvText"]["deletedKeepBytes"] = keepBytes;
      EXPECT_EQ(dump(description, version, "Cabdata.mdb"), plain);
    }
  }
}

// A store that another engine wrote has the same tables and queries.
TEST(StoreWriter, TheSchemaIsThatOfARealStore) {
  const auto sample = std::filesystem::path(NIMPORT_SHARED_SAMPLES) / "demo-jet4/c/NIFTY/Data";
  if (!std::filesystem::exists(sample)) GTEST_SKIP() << sample << " is not there";
  const TestDirectory folder;
  const Store store = MakeStore(json::object(), folder.path());
  for (const char* name : {"Cabdata.mdb", "Abook.mdb"}) {
    json schemas[] = {Dump(sample / name, false), Dump(store.databaseDirectory / name, false)};
    for (json& schema : schemas) {
      for (json& group : schema) {
        for (json& object : group)
          object = object["columns"];
      }
    }
    EXPECT_EQ(schemas[0], schemas[1]);
  }
}

// What no other test asks a description for.
TEST(StoreWriter, UnusualPlacesFilesAndTables) {
  const TestDirectory folder;
  const Store store = MakeStore(json::parse(R"json({
    "directories": {"bin": "C:\\N\\表", "data": "D:\\Data"}, "accountId": null,
    "mails": [
      {"folder": 1, "kind": 34, "mime": {"file": "A.MIM", "charset": "shift_jis", "eol": "\n", "endsWithEol": false,
        "lines": ["X: 表", {"body": {"hex": "00FF"}, "encoding": "base64"}]}},
      {"folder": 1, "kind": 34, "mime": {"file": "MISSING.MIM"}},
      {"folder": 1, "kind": 22, "date": "1998/01/13 10:00:00"},
      {"folder": 1, "kind": 19, "storedFile": {"path": "c:/Down\\ソ.LZH", "contents": {"hex": "0001FE"}}}],
    "files": [{"path": "C:\\loose.txt", "contents": {"repeat": "ab", "times": 3}}],
    "tables": {"DataTBL": {"columns":
        ["DataNo Long", "FolderNo Long", "DataType Integer", "DataTime Text(20)"]}},
    "queries": {"EmSMailｸｴﾘｰ": {"columns": ["DataTBL.DataTime"], "from": ["DataTBL"],
                    "top": 3, "orderBy": [{"expression": "DataTBL.DataTime", "descending": true}]},
                "EmRespｸｴﾘｰ": null},
    "extraTables": [{"database": "Abook.mdb", "name": "おまけ", "columns": ["G Guid", "C Currency"],
        "rows": [{"G": "{00010203-0405-0607-0809-0A0B0C0D0E0F}", "C": 1.5}]}],
    "linkedTables": [{"name": "遠い表", "file": "C:\\O.MDB", "table": "Y"},
                     {"name": "Far", "connect": "ODBC;DSN=x", "database": "Abook.mdb"}],
    "extraRows": {"EmSysop": [{"DataNo": 77}]}})json"),
                                folder.path());
  EXPECT_EQ(folder.Read("d/Data/Mime/A.MIM"), "X: \x95\x5C\nAP8=");
  EXPECT_FALSE(std::filesystem::exists(folder.path() / "d/Data/Mime/MISSING.MIM"));
  EXPECT_EQ(std::filesystem::file_size(store.driveC / u8"Down/ソ.LZH"), 3U);
  EXPECT_EQ(folder.Read("c/loose.txt"), "ababab");
  EXPECT_TRUE(std::filesystem::exists(store.driveC / u8"N/表/Winnim.exe"));
  EXPECT_EQ(folder.Read("registry.reg").find("ID1"), std::string::npos);
  const json received = RowsOf(store, "Cabdata.mdb", "EmRcvText");
  EXPECT_EQ(received[0]["DataSize"], 10) << "the bytes of the file";
  EXPECT_EQ(received[1]["FileLink"], "MISSING.MIM");
  EXPECT_EQ(RowsOf(store, "Cabdata.mdb", "EmSysop")[0]["DataNo"], 77);
  EXPECT_EQ(RowsOf(store, "Cabdata.mdb", "EmRespｸｴﾘｰ"), json());
  const json dates = RowsOf(store, "Cabdata.mdb", "EmSMailｸｴﾘｰ");
  EXPECT_EQ(dates.size(), 4U) << "three and what ties with the last";
  EXPECT_EQ(dates[0]["DataTime"], "1998/01/13 10:00:00") << "descending";
  EXPECT_EQ(RowsOf(store, "Abook.mdb", "おまけ"),
            json::parse(R"([{"G": "{00010203-0405-0607-0809-0A0B0C0D0E0F}", "C": 1.5}])"));
  for (const auto& [database, name, wanted] :
       {std::tuple{"Cabdata.mdb", "遠い表",
                   "is a linked table: its rows are in table Y of C:\\O.MDB"},
        std::tuple{"Abook.mdb", "FAR",
                   "is a linked table: its rows are in table Far of ODBC;DSN=x"},
        std::tuple{"Abook.mdb", "遠い表", "no such table"}}) {
    std::string reason;
    try {
      static_cast<void>(Open(store.databaseDirectory / database)->OpenTable(name));
    } catch (const jet::DatabaseError& error) {
      reason = error.what();
    }
    EXPECT_NE(reason.find(wanted), std::string::npos) << reason;
  }
}

TEST(StoreWriter, TemplatesMakeTheMailsAskedFor) {
  const TestDirectory folder;
  const json description =
      json::parse(R"json({"template": {"folders": 4, "mimePercent": 50, "addresses": 30,
      "groups": 6, "depth": 3, "kinds": {"20": 1, "38": 1, "19": 1}, "text": {"longEvery": 50}}})json");
  const Store store = MakeStore(description, folder.path() / "a", {.scale = 300});
  std::map<int, int> kinds;
  for (const json& mail : RowsOf(store, "Cabdata.mdb", "DataTBL"))
    ++kinds[mail["DataType"].get<int>()];
  const auto files = std::filesystem::directory_iterator(store.databaseDirectory / "Mime");
  EXPECT_EQ(kinds[20] + kinds[38] + kinds[19] + kinds[34], 300);
  EXPECT_GT(kinds[20], 0);
  EXPECT_NEAR(kinds[34], 150, 40);
  EXPECT_EQ(std::distance(begin(files), end(files)), kinds[34]);
  EXPECT_EQ(RowsOf(store, "Cabdata.mdb", "FolderTBL").size(), 4U);
  EXPECT_EQ(RowsOf(store, "Abook.mdb", "AddressBookTBL").size(), 36U);
  (void)MakeStore(description, folder.path() / "b", {.scale = 300});
  EXPECT_EQ(folder.Read("a/c/NIFTY/Data/Cabdata.mdb"), folder.Read("b/c/NIFTY/Data/Cabdata.mdb"));
}

TEST(StoreWriter, NamesThePlaceOfAMistake) {
  const struct {
    const char* description;
    const char* wanted;
  } CASES[] = {
      {R"json({"cabinet": []})json", "/cabinet: there is no member of this name"},
      {R"json({"cabinets": [{"name": "x"}]})json", "/cabinets/0: the member \"number\" is missing"},
      {R"json({"cabinets": [{"number": 40000}]})json",
       "/cabinets/0/number: the number is not between"},
      {R"json({"mails": [{"folder": 1, "kind": "20"}]})json",
       "/mails/0/kind: a whole number is wanted"},
      {R"json({"mails": [{"folder": 1, "kind": 20, "date": "1999-02-29"}]})json",
       "/mails/0/date: \"1999-02-29\" is no date"},
      {R"json({"mails": [{"folder": 1, "kind": 20, "columns": {"A/B": 1}}]})json",
       "/mails/0/columns/A~1B: no table"},
      {R"json({"mails": [{"folder": 1, "kind": 20, "columns": {"DataTBL.X": 1}}]})json",
       "/mails/0/columns/DataTBL.X: the table has no"},
      {R"json({"mails": [{"folder": 1, "kind": 20, "title": "naïve"}]})json",
       "/mails/0: table \"DataTBL\", row 1: column \"DataTitle\": \"ï\" has no place"},
      {R"json({"mails": [{"folder": 1, "kind": 34, "mime": {"file": "../x", "text": ""}}]})json",
       "/mails/0/mime/file: "},
      {R"json({"mails": [{"folder": 1, "kind": 34, "mime": {"file": "x", "lines": [{"base64": "!"}]}}]})json",
       "/mails/0/mime/lines/0/base64: "},
      {R"json({"mails": [{"folder": 1, "kind": 19, "storedFile": {"path": "x", "contents": ""}}]})json",
       "/mails/0/storedFile/path: "},
      {R"json({"files": [{"path": "C:\\a\\..\\..\\b", "contents": ""}]})json",
       "/files/0/path: the path leads out"},
      {R"json({"mails": [{"folder": 1, "kind": 22, "columns": {"TextData": {"repeat": "x", "times": -1}}}]})json",
       "/times: the number is not"},
      {R"json({"tables": {"NoTBL": {}}})json", "/tables/NoTBL: there is no table"},
      {R"json({"queries": {"Q": {"from": ["A"], "joins": [{"kind": "outer", "left": "A", "right": "B", "on": ""}]}}})json",
       "/queries/Q/joins/0/kind: "},
      {R"json({"template": {"kinds": {"99": 1}}})json", "/template/kinds/99: "},
      {R"json([])json", "the description: an object is wanted"},
  };
  for (const auto& row : CASES) {
    const TestDirectory folder;
    try {
      MakeStore(json::parse(row.description), folder.path());
      ADD_FAILURE() << row.description;
    } catch (const DescriptionError& error) {
      EXPECT_NE(std::string(error.what()).find(row.wanted), std::string::npos) << error.what();
    }
  }
}

}  // namespace
}  // namespace nimport::mkstore
