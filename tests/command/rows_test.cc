// Every row of the list of mails is exported or named: the index, rows that no folder lists,
// further columns, and stores beside each other.
#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "command/tool.h"

namespace nimport::tests {
namespace {

namespace fs = std::filesystem;
using mkstore::JetVersion;
using nlohmann::json;
using testing::HasSubstr;

// A row of every kind of place: kinds that nobody has described (40 to 43), a folder that no
// cabinet has, a number that no folder has; columns that nobody has described; files that no row
// names.
constexpr const char* DESCRIPTION = R"json({
  "tables": {"EmSMail": {"columns": ["DataNo Long", "ToField Memo", "TextData Memo",
      "ForwardText Memo", "DataSize Long", "FileLink Text(255)", "CopyCC Text(200)",
      "BccList Memo", "Priority Integer", "Place Text(40)", "Zero Long", "Note Memo"]
}
}
,
  "queries": {"EmSMailｸｴﾘｰ": {"columns": ["DataTBL.DataNo", "DataTBL.DataTitle", "DataTBL.DataTime",
      "EmSMail.ToField", "EmSMail.TextData", "EmSMail.ForwardText", "EmSMail.DataSize",
      "EmSMail.FileLink"], "from": ["DataTBL", "EmSMail"],
      "joins": [{"kind": "left", "left": "DataTBL", "right": "EmSMail",
                 "on": "DataTBL.DataNo = EmSMail.DataNo"}]}},
  "extraTables": [{"database": "Cabdata.mdb", "name": "EmNotes",
      "columns": ["DataNo Long", "SenderName Text(40)", "BodyText Memo", "FilePath Text(80)"],
      "rows": [{"DataNo": 11, "SenderName": "佐倉", "BodyText": "掲示"},
               {"DataNo": 12, "FilePath": "C:\\A\\十月.XLS"}]},
    {"database": "Cabdata.mdb", "name": "EmOther", "columns": ["DataNo Long", "FileLink Text(80)"],
      "rows": [{"DataNo": 13, "FileLink": "13.MIM"}]}],
  "cabinets": [{"number": 1, "name": "箱", "folders": [{"number": 1, "name": "送信", "mails": [
      {"kind": 22, "dataNo": 1, "title": "=写し", "date": "1999-01-02T03:04:05", "columns": {
        "ToField": "a@example.jp", "TextData": "x", "CopyCC": "c@example.jp",
        "BccList": "QZB04567 佐倉", "Priority": 3, "Place": "東京", "Zero": 0, "Note": "a\r\nb"}},
      {"kind": 34, "dataNo": 2, "columns": {"RcvTime": "1999-01-02T03:04:05"}, "mime": {
        "file": "2.MIM", "text": "Subject: m\r\nContent-Type: application/zip; name=\"a.zip\"\r\n\r\nPK"}},
      {"kind": 34, "dataNo": 3, "columns": {}, "mime": {"file": "GONE.MIM"}},
      {"kind": 40, "dataNo": 11, "title": "記事"}, {"kind": 41, "dataNo": 12},
      {"kind": 42, "dataNo": 13}, {"kind": 43, "dataNo": 14}]}]}],
  "folders": [{"number": 90, "cabinet": 99, "name": "外/れ", "mails": [
      {"kind": 20, "dataNo": 21, "title": "outside", "columns": {"TextData": "o"}}]}],
  "mails": [{"kind": 20, "dataNo": 31, "folder": 77, "title": "nowhere", "columns": {"TextData": "n"}}],
  "mimeFiles": [{"file": "13.MIM", "text": "Subject: thirteen\r\n\r\nx"},
                {"file": "stray.mim", "text": "Subject: stray\r\n\r\nx"}],
  "files": [{"path": "C:\\NIFTY\\Data\\Mime\\deep\\cache.db", "contents": {"hex": "000a0d"}},
            {"path": "C:\\A\\十月.XLS", "contents": "xls"}]
})json";

class Rows : public testing::TestWithParam<JetVersion> {
 protected:
  TestStore store_{DESCRIPTION, GetParam()};
};

INSTANTIATE_TEST_SUITE_P(, Rows, testing::Values(JetVersion::Jet3, JetVersion::Jet4));

std::vector<json> ReadIndex(const fs::path& directory) {
  std::vector<json> rows;
  std::istringstream lines(ReadFile(directory / "index.jsonl"));
  for (std::string line; std::getline(lines, line);)
    rows.push_back(json::parse(line));
  return rows;
}

TEST_P(Rows, EachIsInTheIndexAndWhereItSays) {
  const json account = store_.Ask("export", {"--to", store_.Target().string(), "--index-bom"}, 1);
  const json counts = json::parse(R"({"found": 9, "written": 7, "alreadyThere": 0, "skipped": 0,
                                      "failed": 2, "notListed": 0})");
  EXPECT_EQ(account["rows"], counts);
  EXPECT_EQ(store_.Ask("check", {"--deep"}, 1)["deep"]["rows"], counts);
  const struct {
    int number;  // 0 for what has no row, in this order
    const char* place;
    const char* subject;
    const char* status;
    const char* text;  // in the file
  } cases[] = {
      {1, "箱/送信", "=写し", "written", "\n\nx"},
      {2, "箱/送信", "m", "written", "PK"},
      {3, "箱/送信", "", "failed", ""},
      {11, "(not listed)/箱/送信", "記事", "written", "5o6y56S6"},
      {12, "(not listed)/箱/送信", "", "written", "eGxz"},
      {13, "(not listed)/箱/送信", "thirteen", "written", "thirteen"},
      {14, "(not listed)/箱/送信", "", "failed", ""},
      {31, "(not listed)/(no folder)/folder 77", "nowhere", "written", "\n\nn"},
      {21, "(not listed)/(no cabinet)/外%2fれ", "outside", "written", "\n\no"},
      {0, "(no mail)/Mime", "deep\\cache.db", "written", "AAoN"},
      {0, "(no mail)/Mime", "stray", "written", "stray"},
  };
  const std::vector<json> rows = ReadIndex(store_.Target());
  ASSERT_EQ(rows.size(), std::size(cases));
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const auto& c = cases[i];
    SCOPED_TRACE(rows[i].dump());
    EXPECT_EQ(rows[i]["number"], c.number == 0 ? json() : json(c.number));
    EXPECT_EQ(rows[i]["cabinet"].get<std::string>() + '/' + rows[i]["folder"].get<std::string>(),
              c.place);
    EXPECT_EQ(rows[i]["subject"], c.subject);
    EXPECT_EQ(rows[i]["status"], c.status);
    const std::string path = rows[i]["path"];
    EXPECT_EQ(path.starts_with(std::string(c.place) + '/'), *c.text != '\0') << path;
    if (!path.empty()) {
      EXPECT_THAT(ReadFile(store_.Target() / path), HasSubstr(c.text));
    }
    EXPECT_EQ(rows[i].contains("reason"), *c.text == '\0');
  }
  EXPECT_EQ(rows[1]["attachments"], json::parse(R"([{"name": "a.zip", "size": 2}])"));
  EXPECT_EQ(rows[1]["columns"]["RcvTime"], "1999-01-02T03:04:05") << "only the index has it";
  EXPECT_EQ(rows[4]["attachments"], json::parse(R"([{"name": "十月.XLS", "size": 3}])"));
  const std::string csv = ReadFile(store_.Target() / "index.csv");
  EXPECT_THAT(csv, testing::StartsWith("\xEF\xBB\xBFnumber,kind,"));
  EXPECT_THAT(csv, HasSubstr(",'=写し,")) << "no formula";
  EXPECT_EQ(std::ranges::count(csv, '\n'), 12);
  // Again, all of it is there.
  const json again = store_.Export("maildir", "out", 1);
  EXPECT_EQ(again["rows"]["alreadyThere"], 7);
  EXPECT_EQ(ReadIndex(store_.Target()).back()["status"], "already there");
}

TEST_P(Rows, FurtherColumnsAreInComposedMails) {
  store_.Export("eml", "out", 1);
  const std::string path = ReadIndex(store_.Target())[0]["path"];
  const std::string mail = ReadFile(store_.Target() / path);
  for (const char* line :
       {"\r\nCc: c@example.jp\r\n", "<QZB04567@nifty-manager.invalid>\r\nX-Nimport-Bcc: ",
        "\r\nX-Nimport-Column: Priority=3\r\n",
        "\r\nX-Nimport-Column: =?UTF-8?B?UGxhY2U95p2x5Lqs?=\r\n"}) {
    EXPECT_THAT(mail, HasSubstr(line));
  }
  for (const char* column : {"Zero", "Note", "FolderNo", "ReadFlag"})
    EXPECT_THAT(mail, testing::Not(HasSubstr(column)));
  const json columns = ReadIndex(store_.Target())[0]["columns"];
  EXPECT_EQ(columns["Note"], "a\r\nb");
  EXPECT_EQ(columns["Zero"], 0);
  EXPECT_EQ(columns["ReadFlag"], true);
}

// A name alone and an ID alone are senders; letters and years that the plug-in cannot tell stay.
TEST(RowsOfJet4, LettersAndDatesStayThemselves) {
  const TestStore store(R"({"cabinets": [{"number": 1, "name": "é한〜", "folders": [
      {"number": 1, "name": "f", "mails": [
        {"kind": 20, "title": "é 한 〜", "date": "1901-02-03T04:05:06",
         "columns": {"OriginatorName": "Zoë 한", "TextData": "é 한 〜"}},
        {"kind": 19, "title": "b", "date": "1969-12-31T23:59:59", "columns": {"OriginatorID": "QZB04567"},
         "storedFile": {"path": "C:\\A\\B.TXT", "contents": "b"}},
        {"kind": 22, "title": "c", "date": "2035-06-07T08:09:10",
         "columns": {"ToField": "한", "TextData": "c"}}]}]}]})",
                        JetVersion::Jet4);
  store.Export("eml");
  const json mails = ReadExport("eml", store.Target());
  const struct {
    std::size_t mail;
    const char* pointer;
    const char* value;
  } cases[] = {{0, "/from/0/0", R"("Zoë 한")"},
               {0, "/parts/0/text", R"("é 한 〜")"},
               {0, "/folder", R"("é한〜/f")"},
               {0, "/date", "-2174619294"},
               {1, "/from/0/1", R"("QZB04567@nifty-manager.invalid")"},
               {1, "/date", "-32401"},
               {2, "/to/0/0", R"("한")"},
               {2, "/date", "2064784150"}};
  for (const auto& c : cases)
    EXPECT_EQ(mails.at(c.mail).at(json::json_pointer(c.pointer)), json::parse(c.value))
        << c.pointer;
}

json StoreOf(const std::string& text, int first, int count) {
  json mails = json::array();
  for (int i = first; i < first + count; ++i) {
    mails.push_back({{"kind", 22},
                     {"dataNo", i},
                     {"title", "t" + std::to_string(i)},
                     {"columns", {{"TextData", text}}}});
  }
  return {{"cabinets",
           {{{"number", 1},
             {"name", "c"},
             {"folders", {{{"number", 1}, {"name", "f"}, {"mails", mails}}}}}}},
          {"addressBook",
           {{{"name", "G"}, {"members", {{{"name", text}, {"userId", "a@example.jp"}}}}}}}};
}

TEST(SecondStore, StandsBesideTheFirst) {
  const TestStore first(StoreOf("first", 1, 3).dump());
  const TestStore grown(StoreOf("first", 2, 200).dump());
  const TestStore other(StoreOf("other", 1, 3).dump());
  const std::string target = first.Target().string();
  const auto files = [&] {
    Files found = ReadTree(target);
    found.erase(".nimport.json");
    return found;
  };
  first.Export();
  const Files before = files();
  const ToolResult refused = other.Run("export", {"--to", target});
  EXPECT_EQ(refused.exitCode, 2);
  EXPECT_THAT(refused.err, testing::AllOf(HasSubstr("another store"), HasSubstr("--add")));
  EXPECT_EQ(files(), before);

  other.Ask("export", {"--to", target, "--add"});
  const Files both = files();
  for (const auto& [name, contents] : before)
    EXPECT_EQ(both.at(name), contents) << name;
  for (const char* name : {"account (2).json", "contacts (2).vcf", "index (2).csv"})
    EXPECT_TRUE(both.contains(name)) << name;
  EXPECT_TRUE(fs::is_directory(fs::path(target) / "c (2)" / "f"));
  // Both are known again, whatever is asked for, and also after a mail was deleted and others came.
  EXPECT_EQ(other.Ask("export", {"--to", target})["alreadyThere"], 3);
  EXPECT_EQ(first.Ask("export", {"--to", target, "--add"})["alreadyThere"], 3);
  EXPECT_EQ(grown.Ask("export", {"--to", target})["alreadyThere"], 2);
  EXPECT_EQ(grown.Ask("export", {"--to", target})["written"], 0);
  EXPECT_EQ(first.Ask("export", {"--to", target})["written"], 0) << "an old copy of it";
  EXPECT_FALSE(fs::exists(fs::path(target) / "c (3)"));

  // What an earlier version exported, or somebody else's account.
  fs::remove(fs::path(target) / ".nimport.json");
  EXPECT_EQ(first.Ask("export", {"--to", target})["written"], 0);
  fs::remove(fs::path(target) / ".nimport.json");
  std::ofstream(fs::path(target) / "account.json") << "{}";
  EXPECT_EQ(first.Run("export", {"--to", target}).exitCode, 2);
}

}  // namespace
}  // namespace nimport::tests
