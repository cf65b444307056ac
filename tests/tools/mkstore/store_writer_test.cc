#include "mkstore/store_writer.h"

#include <map>
#include <set>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/tools/engine_reader.h"

namespace nimport::mkstore {
namespace {

using nlohmann::json;

json ReadSample(const std::string& name) {
  return json::parse(ReadWholeFile(std::filesystem::path(NIMPORT_SOURCE_DIR) / "samples" / name));
}

class StoreWriterTest : public testing::TestWithParam<JetVersion> {
 protected:
  Store Make(const json& description, const std::string& name = "store",
             StoreOptions options = {}) {
    options.format = GetParam();
    return MakeStore(description, folder_.path() / name, options);
  }
  static std::filesystem::path Mails(const Store& store) {
    return store.databaseDirectory / "Cabdata.mdb";
  }
  static std::filesystem::path Addresses(const Store& store) {
    return store.databaseDirectory / "Abook.mdb";
  }

 private:
  TemporaryFolder folder_;
};

INSTANTIATE_TEST_SUITE_P(, StoreWriterTest, testing::Values(JetVersion::Jet3, JetVersion::Jet4),
                         [](const auto& version) {
                           return version.param == JetVersion::Jet3 ? "Jet3" : "Jet4";
                         });

// Goes over all mails of a description.
template <typename Visitor>
void ForEachMail(const json& description, Visitor visit) {
  const auto visitFolder = [&](const json& folder) {
    for (const json& mail : folder.value("mails", json::array()))
      visit(folder, mail);
  };
  for (const json& cabinet : description.value("cabinets", json::array())) {
    for (const json& folder : cabinet.value("folders", json::array()))
      visitFolder(folder);
  }
  for (const json& folder : description.value("folders", json::array()))
    visitFolder(folder);
}

jet::Value ToTextOrNull(const json& mail, const char* member) {
  if (!mail.contains(member) || mail[member].is_null()) return {};
  return jet::Text{mail[member].get<std::string>()};
}

TEST_P(StoreWriterTest, TheDemoHoldsItsMails) {
  const json description = ReadSample("demo-ja.json");
  const Store store = Make(description);
  Rows wanted;  // DataNo, FolderNo, DataType, DataTitle
  std::int32_t number = 0;
  ForEachMail(description, [&](const json& folder, const json& mail) {
    number = mail.value("dataNo", number + 1);
    if (!mail.value("inDataTable", true)) return;
    const auto kind = mail["kind"].get<std::int16_t>();
    const bool hasOwnTitle = kind == 21 || kind == 28;
    wanted.push_back({number, folder["number"].get<std::int32_t>(), kind,
                      hasOwnTitle ? jet::Value() : ToTextOrNull(mail, "title")});
  });
  Rows found = ReadTable(Mails(store), "DataTBL");
  for (auto& row : found)
    row.resize(4);
  EXPECT_EQ(found, wanted);
}

TEST_P(StoreWriterTest, TheDemoHasEveryKind) {
  std::set<int> kinds;
  ForEachMail(ReadSample("demo-ja.json"),
              [&](const json&, const json& mail) { kinds.insert(mail["kind"].get<int>()); });
  for (const int kind : {17, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 32, 33, 34, 38, 39}) {
    EXPECT_TRUE(kinds.contains(kind)) << kind;
  }
}

// The engine reads the same from both versions, table for table and query for query.
TEST(StoreWriter, BothVersionsHoldTheSame) {
  const TemporaryFolder folder;
  const json description = ReadSample("demo-ja.json");
  const Store jet3 = MakeStore(description, folder.path() / "3", {.format = JetVersion::Jet3});
  const Store jet4 = MakeStore(description, folder.path() / "4", {.format = JetVersion::Jet4});
  for (const char* name : {"Cabdata.mdb", "Abook.mdb"}) {
    const auto first = OpenWithEngine(jet3.databaseDirectory / name);
    const auto second = OpenWithEngine(jet4.databaseDirectory / name);
    ASSERT_EQ(first->TableNames(), second->TableNames());
    for (const std::string& table : first->TableNames()) {
      EXPECT_EQ(ReadRows(*first->OpenTable(table)), ReadRows(*second->OpenTable(table))) << table;
    }
    ASSERT_EQ(first->QueryNames(), second->QueryNames());
    for (const std::string& query : first->QueryNames()) {
      if (query == "未読ｸﾘｱｸｴﾘｰ") continue;  // an update
      EXPECT_EQ(ReadRows(*first->OpenQuery(query)), ReadRows(*second->OpenQuery(query))) << query;
    }
  }
}

// A store that another engine wrote has the same tables and queries.
TEST_P(StoreWriterTest, TheSchemaIsThatOfARealStore) {
  const auto sample = std::filesystem::path(NIMPORT_SHARED_SAMPLES) / "demo-jet4/c/NIFTY/Data";
  if (!std::filesystem::exists(sample)) GTEST_SKIP() << sample << " is not there";
  const Store store = Make(json::object());
  const auto columnsOf = [](const auto& definition) {
    std::vector<std::pair<std::string, jet::ColumnType>> columns;
    for (const jet::ColumnInfo& column : definition.Columns()) {
      columns.emplace_back(column.name, column.type);
    }
    return columns;
  };
  for (const char* name : {"Cabdata.mdb", "Abook.mdb"}) {
    const auto wanted = OpenWithEngine(sample / name);
    const auto found = OpenWithEngine(store.databaseDirectory / name);
    EXPECT_EQ(found->TableNames(), wanted->TableNames());
    EXPECT_EQ(found->QueryNames(), wanted->QueryNames());
    for (const std::string& table : wanted->TableNames()) {
      EXPECT_EQ(columnsOf(*found->OpenTable(table)), columnsOf(*wanted->OpenTable(table)));
    }
    for (const std::string& query : wanted->QueryNames()) {
      if (query == "未読ｸﾘｱｸｴﾘｰ") continue;
      EXPECT_EQ(columnsOf(*found->OpenQuery(query)), columnsOf(*wanted->OpenQuery(query)));
    }
  }
}

// One query of each shape, by rows worked out by hand.
TEST_P(StoreWriterTest, QueriesJoinTheTables) {
  const Store store =
      Make(json::parse(R"json({"cabinets": [{"number": 1, "folders": [{"number": 2, "mails": [
    {"kind": 22, "dataNo": 5, "title": "a", "columns": {"ToField": "x"}},
    {"kind": 22, "dataNo": 6, "title": "b", "noFamilyRow": true},
    {"kind": 23, "dataNo": 7, "date": "1999-01-01", "columns": {"RecipientList": "early"}},
    {"kind": 23, "dataNo": 8, "date": "1999-01-02", "columns": {"RecipientList": "late"}},
    {"kind": 25, "dataNo": 9, "title": "c", "columns": {"CenterCode": "C1", "BodyText": "text"}},
    {"kind": 28, "dataNo": 10, "title": "r", "columns": {"RespID": "R1"}}]}]}]})json"));
  const auto database = OpenWithEngine(Mails(store));
  const auto column = [&](const char* query, const char* name) {
    std::vector<jet::Value> values;
    const auto definition = database->OpenQuery(query);
    for (auto rows = definition->OpenRecordset(); !rows->IsEof(); rows->MoveNext()) {
      values.push_back(rows->GetFieldValue(name));
    }
    return values;
  };
  const auto numbers = [](std::initializer_list<std::int32_t> list) {
    return std::vector<jet::Value>(list.begin(), list.end());
  };
  EXPECT_EQ(column("EmSMailｸｴﾘｰ", "DataNo"), numbers({5, 6, 7, 8, 9, 10})) << "left join";
  EXPECT_EQ(column("EmSMailｸｴﾘｰ", "ToField")[1], jet::Value());
  EXPECT_EQ(column("EmUploadｸｴﾘｰ", "DataNo"), numbers({8, 7})) << "newest first";
  EXPECT_EQ(column("EmCenterｸｴﾘｰ", "CenterID")[0], jet::Value(jet::Text{"C1"})) << "renamed";
  EXPECT_EQ(column("EmRespｸｴﾘｰ", "DataTitle")[0], jet::Value(jet::Text{"r"})) << "SELECT *";
  EXPECT_EQ(column("EmRespｸｴﾘｰ", "DataNo"), numbers({10}));
}

TEST_P(StoreWriterTest, WritesFilesWhereTheirPathsSay) {
  const Store store = Make(json::parse(R"json({
    "directories": {"bin": "C:\\N\\表", "data": "D:\\Data"}, "accountId": null,
    "mails": [
      {"folder": 1, "kind": 34, "mime": {"file": "A.MIM", "charset": "shift_jis", "eol": "\n", "endsWithEol": false,
        "lines": ["X: 表", {"body": {"hex": "00FF"}, "encoding": "base64"}]}},
      {"folder": 1, "kind": 34, "mime": {"file": "MISSING.MIM"}},
      {"folder": 1, "kind": 19, "storedFile": {"path": "c:/Down\\ソ.LZH", "contents": {"hex": "0001FE"}}}],
    "files": [{"path": "C:\\loose.txt", "contents": {"repeat": "ab", "times": 3}}]})json"));
  EXPECT_EQ(ReadWholeFile(store.root / "d/Data/Mime/A.MIM"), "X: \x95\x5C\nAP8=");
  EXPECT_FALSE(std::filesystem::exists(store.root / "d/Data/Mime/MISSING.MIM"));
  EXPECT_EQ(ReadWholeFile(store.driveC / u8"Down/ソ.LZH"), std::string("\x00\x01\xFE", 3));
  EXPECT_EQ(ReadWholeFile(store.driveC / "loose.txt"), "ababab");
  EXPECT_TRUE(std::filesystem::exists(store.driveC / u8"N/表/Winnim.exe"));
  EXPECT_EQ(ReadWholeFile(store.registryFile).find("ID1"), std::string::npos);
  const Rows rows = ReadTable(store.root / "d/Data/Cabdata.mdb", "EmRcvText");
  EXPECT_EQ(rows[0][5], jet::Value(10)) << "DataSize tells the bytes of the file";
  EXPECT_EQ(rows[1][6], jet::Value(jet::Text{"MISSING.MIM"}));
}

TEST_P(StoreWriterTest, TablesKeepTheirHistory) {
  const json mails = [] {
    json list = json::array();
    for (int i = 1; i <= 20; ++i) {
      list.push_back({{"folder", 1}, {"kind", 20}, {"columns", {{"TextData", std::to_string(i)}}}});
    }
    return list;
  }();
  const Rows plain = ReadTable(Mails(Make({{"mails", mails}}, "plain")), "EmRcvText");
  json description = {{"mails", mails}};
  description["tables"]["EmRcvText"] = json::parse(R"json({"movedEvery": 3, "deletedEvery": 4,
      "deletedColumns": [{"column": "Old Text(10)", "before": "OriginatorName"
}, {"column": "Flag Byte", "before": "TextData"}],
      "addedColumns": {
  "count" : 2, "afterRows" : 7
}
})json");
  for (const bool keepBytes : {false, true}) {
    description["tables"]["EmRcvText"]["deletedKeepBytes"] = keepBytes;
    EXPECT_EQ(ReadTable(Mails(Make(description, "history")), "EmRcvText"), plain);
  }
}

TEST_P(StoreWriterTest, ChangesTheSchema) {
  const Store store = Make(json::parse(R"json({
    "tables": {"DataTBL": {"columns": ["DataNo Long", "FolderNo Long", "DataType Integer", "DataTime Text(20)"]
}
}
, "mails" : [ {"folder" : 3, "kind" : 22, "dataNo" : 1, "date" : "1998/01/13 10:00:00"} ],
            "queries" : {
              "EmSMailｸｴﾘｰ" : {"columns" : ["DataTBL.DataTime"], "from" : ["DataTBL"]},
              "EmRespｸｴﾘｰ" : null
            },
                        "extraTables" : [ {
                          "database" : "Abook.mdb",
                          "name" : "おまけ",
                          "columns" : [ "G Guid", "C Currency" ],
                          "rows" : [ {"G" : "{00010203-0405-0607-0809-0A0B0C0D0E0F}", "C" : 1.5} ]
                        } ],
                                        "extraRows" : {
  "EmSysop" : [ {"DataNo" : 77} ]
}
})json"));
  const auto mails = OpenWithEngine(Mails(store));
  EXPECT_EQ(ReadRows(*mails->OpenQuery("EmSMailｸｴﾘｰ")), (Rows{{jet::Text{"1998/01/13 10:00:00"}}}));
  EXPECT_THROW((void)mails->OpenQuery("EmRespｸｴﾘｰ"), jet::DatabaseError);
  EXPECT_EQ(ReadRows(*mails->OpenTable("EmSysop"))[0][0], jet::Value(77));
  const Rows extra = ReadTable(Addresses(store), "おまけ");
  EXPECT_EQ(jet::ToString(std::get<jet::Guid>(extra[0][0])),
            "{00010203-0405-0607-0809-0A0B0C0D0E0F}");
  EXPECT_EQ(extra[0][1], jet::Value(jet::Currency{15'000}));
}

TEST_P(StoreWriterTest, AddressesHangBeneathTheirGroups) {
  const Store store = Make(json::parse(R"json({"addressBook": [
    {"name": "G", "members": [{"name": null, "userId": "a"}, {"name": "H", "key": 9, "members": [{"userId": "b", "comment": "c"}]}]},
    {"key": 9, "parent": 9, "type": 1, "name": "again"}]})json"));
  Rows rows = ReadTable(Addresses(store), "AddressBookTBL");
  for (auto& row : rows)
    row.resize(6);
  const std::int16_t group = 0;
  const std::int16_t address = 2;
  EXPECT_EQ(rows, (Rows{{1, 0, group, jet::Text{"G"}, {}, {}},
                        {2, 1, address, {}, jet::Text{"a"}, {}},
                        {9, 1, group, jet::Text{"H"}, {}, {}},
                        {10, 9, address, {}, jet::Text{"b"}, jet::Text{"c"}},
                        {9, 9, std::int16_t{1}, jet::Text{"again"}, {}, {}}}));
}

TEST_P(StoreWriterTest, TemplatesMakeTheMailsAskedFor) {
  const json description =
      json::parse(R"json({"template": {"folders": 4, "mimePercent": 50, "addresses": 30,
      "groups": 6, "depth": 3, "kinds": {"20": 1, "38": 1, "19": 1}, "text": {"longEvery": 50}}})json");
  const Store store = Make(description, "a", {.scale = 300});
  std::map<int, int> kinds;
  for (const auto& row : ReadTable(Mails(store), "DataTBL"))
    ++kinds[std::get<std::int16_t>(row[2])];
  const auto files = std::filesystem::directory_iterator(store.databaseDirectory / "Mime");
  EXPECT_EQ(kinds[20] + kinds[38] + kinds[19] + kinds[34], 300);
  EXPECT_GT(kinds[20], 0);
  EXPECT_NEAR(kinds[34], 150, 40);
  EXPECT_EQ(std::distance(begin(files), end(files)), kinds[34]);
  EXPECT_EQ(ReadTable(Mails(store), "FolderTBL").size(), 4U);
  EXPECT_EQ(ReadTable(Addresses(store), "AddressBookTBL").size(), 36U);
  const Store again = Make(description, "b", {.scale = 300});
  EXPECT_EQ(ReadWholeFile(Mails(store)), ReadWholeFile(Mails(again)));

  const Store plain =
      Make(json::parse(R"json({"template": {"mimePercent": 0}})json"), "c", {.scale = 100});
  EXPECT_TRUE(std::filesystem::is_empty(plain.databaseDirectory / "Mime"));
}

TEST(StoreWriter, NamesThePlaceOfAMistake) {
  const struct {
    const char* description;
    const char* wanted;
  } cases[] = {
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
  for (const auto& row : cases) {
    const TemporaryFolder folder;
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
