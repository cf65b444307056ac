// check, tree, list and show.
#include <algorithm>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "command/tool.h"

namespace nimport::tests {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using testing::HasSubstr;

constexpr const char* DESCRIPTION = R"({
  "accountId": "QZA00001",
  "cabinets": [
    {"number": 1, "name": "受信", "folders": [
      {"number": 10, "name": "新着", "mails": [
        {"kind": 20, "title": "例会①", "date": "1998-09-21T20:15:42",
         "columns": {"OriginatorName": "佐倉", "OriginatorID": "QZB04567", "TextData": "来週です。"}},
        {"kind": 34, "columns": {}, "mime": {"file": "1.MIM", "text":
         "Date: Thu, 3 Jun 1999 12:15:42 GMT\r\nFrom: a@example.jp\r\nSubject: two\r\nContent-Type: multipart/mixed; boundary=\"b\"\r\n\r\n--b\r\nContent-Type: text/plain\r\n\r\nbody\r\n--b\r\nContent-Type: image/gif\r\nContent-Disposition: attachment; filename=\"x.gif\"\r\n\r\nGIF\r\n--b--\r\n"}},
        {"kind": 34, "columns": {}, "mime": {"file": "GONE.MIM"}}
      ]},
      {"number": 11, "name": "同じ"}, {"number": 12, "name": "同じ"}]}]})";

class Inspection : public testing::Test {
 protected:
  TestStore store_{DESCRIPTION};
};

TEST_F(Inspection, TreeCountsAndNumbers) {
  EXPECT_EQ(store_.Ask("tree"), json::parse(R"({"account": "QZA00123", "cabinets": [
      {"name": "受信", "folders": [{"index": 0, "name": "新着", "mails": 3},
                                   {"index": 1, "name": "同じ", "mails": 0},
                                   {"index": 2, "name": "同じ", "mails": 0}]}]})"));
}

TEST_F(Inspection, ListShowsEveryMailAndLocalTime) {
  const json folders = store_.Ask("list", {"受信/新着"}, 1);
  ASSERT_EQ(folders.size(), 1U);
  const json& mails = folders[0]["mails"];
  EXPECT_EQ(mails[0], json::parse(R"({"position": 0, "date": "1998-09-21 20:15:42",
      "from": "佐倉 QZB04567", "to": null, "subject": "例会①"})"));
  EXPECT_EQ(mails[1]["date"], "1999-06-03 21:15:42");
  EXPECT_THAT(mails[2]["error"].get<std::string>(), HasSubstr("GONE.MIM"));
  EXPECT_EQ(store_.Ask("list", {"0"}, 1), folders) << "by index";
  EXPECT_EQ(store_.Ask("list", {}, 1).size(), 3U) << "all folders";
}

TEST(InspectionOfStoredFiles, NamesAndWhatIsMissing) {
  const TestStore store(R"({"cabinets": [{"number": 1, "name": "c", "folders": [
      {"number": 1, "name": "f", "mails": [
        {"kind": 19, "title": "there", "storedFile": {"path": "C:\\A\\十月.XLS", "contents": "x"}},
        {"kind": 19, "title": "lost", "storedFile": {"path": "C:\\A\\LOST.ZIP"}}]}]}]})");
  EXPECT_EQ(store.Ask("show", {"0", "0"})["attachments"],
            json::parse(R"([{"name": "十月.XLS", "extension": ".XLS",
                             "contentType": "application/vnd.ms-excel", "size": 1}])"));
  EXPECT_EQ(store.Ask("show", {"0", "0"})["bodies"], json::array()) << "not named twice";
  EXPECT_THAT(store.Ask("show", {"0", "1"}, 1)["attachments"][0]["error"].get<std::string>(),
              HasSubstr("LOST.ZIP"));
  const json mails = store.Ask("list", {}, 1)[0]["mails"];
  EXPECT_FALSE(mails[0].contains("error"));
  EXPECT_EQ(mails[1]["subject"], "lost");
  EXPECT_THAT(mails[1]["error"].get<std::string>(), HasSubstr("LOST.ZIP"));
}

TEST_F(Inspection, FoldersThatCannotBeMeant) {
  for (const char* folder : {"受信/無い", "3", "-1", "受信", "受信/同じ"}) {
    const ToolResult result = store_.Run("list", {"--", folder});
    EXPECT_EQ(result.exitCode, 2) << folder;
    EXPECT_THAT(result.err, HasSubstr(folder));
  }
  EXPECT_EQ(store_.Run("show", {"0", "3"}).exitCode, 2);
}

TEST_F(Inspection, ShowHasBodiesAndAttachments) {
  const json text = store_.Ask("show", {"0", "0"});
  EXPECT_EQ(text["bodies"], json::parse(R"([{"contentType": "text/plain", "extension": ".txt",
                                             "text": "来週です。"}])"));
  EXPECT_EQ(text["from"], "佐倉 QZB04567 <QZB04567@nifty-manager.invalid>") << "as exported";
  const json mime = store_.Ask("show", {"0", "1"});
  EXPECT_EQ(mime["subject"], "two");
  EXPECT_THAT(mime["bodies"][0]["text"].get<std::string>(), HasSubstr("body"));
  EXPECT_EQ(mime["attachments"],
            json::parse(R"([{"name": "x.gif", "extension": ".gif", "contentType": "image/gif",
                             "size": 3}])"));
  const ToolResult source = store_.Run("show", {"0", "1", "--source"});
  EXPECT_THAT(source.out, testing::StartsWith("Date: Thu, 3 Jun 1999 12:15:42 GMT\r\n"));
  store_.Ask("show", {"0", "2"}, 1);
}

// Mails of which nothing is missing, however odd they are.
TEST(InspectionOfSoundMails, ShowFindsNoFault) {
  const struct {
    const char* mail;  // after its first field
    std::size_t bodies, attachments;
    const char* why;
  } cases[] = {
      {"\\r\\n\\r\\ntext\\r\\n", 1, 0, "no Content-Type"},
      {"", 1, 0, "no body, no line end"},
      {"\\r\\nContent-Type: multipart/mixed; boundary=a=b "
       "c\\r\\n\\r\\n--a=b\\r\\n\\r\\nx\\r\\n--a=b--",
       1, 0, "a boundary that would need quotes"},
      {"\\r\\nContent-Type: application/pkcs7-mime; name=smime.p7m\\r\\n\\r\\nx", 1, 0, "S/MIME"},
      {"\\r\\nContent-Type: multipart/mixed; boundary=b\\r\\n\\r\\n--b--\\r\\n", 1, 0, "no parts"},
      {"\\r\\nContent-Type: message/rfc822\\r\\n\\r\\nSubject: in\\r\\n\\r\\nx", 0, 1,
       "a mail in it"},
  };
  std::string mails;
  for (const auto& c : cases) {
    const std::string number = std::to_string(&c - cases);
    mails += std::string(mails.empty() ? "" : ",") +
             R"({"kind": 34, "columns": {}, "mime": {"file": ")" + number +
             R"(.MIM", "text": "Subject: )" + number + c.mail + "\"}}";
  }
  const TestStore store(R"({"cabinets": [{"number": 1, "name": "c", "folders": [
      {"number": 1, "name": "f", "mails": [)" +
                        mails + "]}]}]}");
  for (const auto& c : cases) {
    const std::string number = std::to_string(&c - cases);
    const json mail = store.Ask("show", {"0", number});
    EXPECT_EQ(mail["subject"], number) << c.why;
    EXPECT_EQ(mail["bodies"].size(), c.bodies) << c.why << mail;
    EXPECT_EQ(mail["attachments"].size(), c.attachments) << c.why << mail;
  }
}

TEST(SavedAttachments, GoIntoTheDirectoryAndNowhereElse) {
  const TestStore store(R"({"cabinets": [{"number": 1, "name": "c", "folders": [
      {"number": 1, "name": "f", "mails": [{"kind": 34, "columns": {}, "mime": {"file": "1.MIM", "text":
       "Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n\r\ntext\r\n--b\r\nContent-Type: image/gif\r\nContent-Disposition: attachment; filename=\"../x.gif\"\r\nContent-Transfer-Encoding: base64\r\n\r\nR0lG\r\n--b\r\nContent-Type: image/gif\r\nContent-Disposition: attachment; filename=\"../x.gif\"\r\n\r\n2\r\n--b\r\nContent-Type: image/png\r\n\r\n3\r\n--b--\r\n"}}]}]}]})");
  const fs::path directory = store.Target("new/saved");
  const json saved = store.Ask("show", {"0", "0", "--save", directory.string()})["attachments"];
  EXPECT_EQ(ReadTree(directory),
            (Files{{"_._x.gif", "GIF"}, {"_._x (2).gif", "2"}, {"part4.png", "3"}}));
  EXPECT_EQ(saved[1]["savedAs"], (directory / "_._x (2).gif").string());
  // Again beside what is there, and not through a link.
  const fs::path other = store.Target("other");
  fs::remove(directory / "part4.png");
  fs::create_symlink(other, directory / "part4.png");
  store.Ask("show", {"0", "0", "--save", directory.string()});
  EXPECT_FALSE(fs::exists(other));
  EXPECT_EQ(ReadFile(directory / "_._x (3).gif"), "GIF");
  EXPECT_EQ(ReadFile(directory / "part4 (2).png"), "3");
  EXPECT_EQ(fs::status(directory).permissions(), fs::perms(0700));
  EXPECT_EQ(fs::status(directory / "_._x.gif").permissions(), fs::perms(0600));
}

// What a terminal would take for a command, a reader for another text or a listing for another
// line.
TEST(InspectionOfHostileTexts, NothingButPrintableCharactersIsShown) {
  const TestStore store(R"({"cabinets": [{"number": 1, "name": "ca\u001bb", "folders": [
      {"number": 1, "name": "f\u007fg", "mails": [
        {"kind": 20, "title": "a\u001b[2Jb\nc\td\r", "columns": {"OriginatorName": "x\u0007y",
         "OriginatorID": "ID", "TextData": "1\t2\r\n3\u001b]0;x\u0007\r4"}},
        {"kind": 34, "columns": {}, "mime": {"file": "1.MIM", "text":
         "Subject: =?utf-8?B?44GCIMKbMm3igK5md3DigKzigag=?=\r\nContent-Type: text/plain\r\n\r\nx\r\n"}},
        {"kind": 34, "title": null, "columns": {}, "mime": {"file": "GO\u001bNE.MIM"}}]}]}]})");
  const std::string target = store.Target().string();
  const struct {
    std::vector<std::string> command;
    const char* wanted;
  } cases[] = {
      {store.Command("tree"), "ca␛b\n    0  f␡g"},
      {store.Command("list"), "x␇y ID  ->  -  |  a␛[2Jb␊c␉d"},
      {store.Command("show", {"0", "0"}), "\n1\t2\n3␛]0;x␇␍4\n"},
      {store.Command("show", {"0", "0", "--json"}), "3\\u001b]0;x\\u0007"},
      {store.Command("check", {"--deep"}), "ca␛b/f␡g"},
      {store.Command("export", {"--to", target}), "ca␛b/f␡g"},
  };
  for (const auto& c : cases) {
    const ToolResult result = RunProgram(c.command);
    EXPECT_THAT(result.out, HasSubstr(c.wanted));
    for (const char character : result.out + result.err) {
      const bool isHarmless =
          (character >= ' ' || static_cast<signed char>(character) < 0) && character != '\x7F';
      EXPECT_TRUE(isHarmless || character == '\n' || character == '\t') << result.out;
    }
  }
}

// A file that grows too large, a disk without room and a reader that goes away.
TEST_F(Inspection, WhatCannotBeWrittenIsSaid) {
  const auto run = [&](const std::string& before, const std::vector<std::string>& command,
                       const std::string& after) {
    std::string line = before;
    for (const std::string& word : command)
      line += " '" + word + '\'';
    return RunProgram({"bash", "-c", line + after});
  };
  const std::string target = store_.Target().string();
  const TestStore large(R"({"template": {"mails": 40, "cabinets": 1, "folders": 1,
                                         "text": {"minBytes": 100, "maxBytes": 200,
                                                  "longEvery": 20, "longBytes": 9000}}})");
  const ToolResult limited =
      run("ulimit -f 8;", large.Command("export", {"--to", target, "--json"}), "");
  EXPECT_EQ(limited.exitCode, 2);
  const auto isMail = [](const auto& entry) { return entry.path().string().ends_with(":2,S"); };
  EXPECT_EQ(nlohmann::json::parse(limited.out)["written"],
            std::ranges::count_if(fs::recursive_directory_iterator(target), isMail));
  EXPECT_THAT(limited.err, HasSubstr("cannot write " + target));
  const ToolResult full = run("", store_.Command("list"), " >/dev/full");
  EXPECT_EQ(full.exitCode, 2);
  EXPECT_THAT(full.err, HasSubstr("cannot be written"));
  const ToolResult gone = run("", store_.Command("list"), " | true; echo ${PIPESTATUS[0]}");
  EXPECT_THAT(gone.err, testing::Not(HasSubstr("nimport: the answer")));
}

TEST_F(Inspection, CheckCountsAndSaysWhatIsMissing) {
  json answer = store_.Ask("check");
  EXPECT_EQ(answer["mail"]["mails"], 3);
  EXPECT_EQ(answer["mailClient"]["installed"], false);
  EXPECT_THAT(answer["mailClient"]["reason"].get<std::string>(), HasSubstr("BinDir"));

  fs::remove(store_.Database("Abook.mdb"));
  answer = store_.Ask("check", {}, 1);
  EXPECT_EQ(answer["addressBook"]["usable"], false);
  EXPECT_THAT(answer["addressBook"]["reason"].get<std::string>(), HasSubstr("Abook.mdb"));
  fs::remove(store_.Database("Cabdata.mdb"));
  store_.Ask("check", {}, 2);
}

TEST_F(Inspection, WrongArgumentsAreNamedInWordsOfTheUser) {
  const struct {
    std::vector<std::string> arguments;
    const char* wanted;
  } cases[] = {
      {{}, "a subcommand is needed: find, check,"},
      {{"chekc"}, "no subcommand \"chekc\"; did you mean check?"},
      {{"exprt", "--to", "x"}, "did you mean export?"},
      {{"zzz"}, "there are find, check"},
      {{"export", "--fromat", "mbox"}, "export has no option --fromat; did you mean --format?"},
      {{"export", "--form=mbox"}, "did you mean --format?"},
      {{"export", "--to", "x", "--format", "mbx"},
       "\"mbx\" is none of eml, maildir, mbox; did you mean mbox?"},
      {{"export", "--to", "x", "--format", "0"}, "\"0\" is none of eml,"},
      {{"contacts", "--vcard", "5"}, "\"5\" is none of 3.0, 4.0"},
      {{"tree", "--to", "x"}, "tree has no option --to, which belongs to export"},
      {{"list", "0", "99"}, "list: unexpected argument \"99\""},
      {{"show", "0", "-3"}, "\"-3\" is no position of a mail"},
      {{"--hlep"}, "did you mean --help?"},
      {{"tree", "--from", "/none\x1B[2J"}, "/none\u241B[2J: no such directory"},
  };
  for (const auto& c : cases) {
    std::vector<std::string> command = {ToolPath().string()};
    command.insert(command.end(), c.arguments.begin(), c.arguments.end());
    command.emplace_back("--json");
    const ToolResult result = RunProgram(command);
    EXPECT_EQ(result.exitCode, 2) << result.out;
    EXPECT_THAT(result.err, HasSubstr(c.wanted));
    EXPECT_THAT(result.err, testing::Not(testing::ContainsRegex("[{}\x1B]|->|FAILED")));
    EXPECT_TRUE(json::parse(result.out)["error"].is_string()) << result.out;
  }
}

// As somebody other than root, for whom nothing is closed.
TEST_F(Inspection, WhatNobodyMayLookAtIsNotMissing) {
  const fs::path mime = store_.Database("Mime");
  fs::permissions(store_.directory().path(), fs::perms(0755));
  const auto run = [&](std::vector<std::string> command) {
    std::vector<std::string> other = {"setpriv", "--reuid=65534", "--clear-groups"};
    if (geteuid() == 0) command.insert(command.begin(), other.begin(), other.end());
    return RunProgram(command);
  };
  fs::permissions(mime, fs::perms::none);
  const json deep = json::parse(run(store_.Command("check", {"--deep", "--json"})).out)["deep"];
  EXPECT_EQ(deep["missingFiles"], json::array());
  ASSERT_EQ(deep["unreadable"].size(), 2U);
  EXPECT_THAT(deep["unreadable"][0]["reason"].get<std::string>(),
              testing::AllOf(HasSubstr("cannot be reached"), HasSubstr("Permission denied")));
  fs::permissions(mime, fs::perms(0755));
  const fs::path data = store_.store().databaseDirectory;
  for (const fs::path& closed : {data, data.parent_path()}) {
    fs::permissions(closed, fs::perms::none);
    EXPECT_THAT(run(store_.Command("tree")).err, HasSubstr("Permission denied")) << closed;
    fs::permissions(closed, fs::perms(0755));
  }
}

// One line, as wide as the terminal at most, with what is being done.
TEST(ProgressOnATerminal, FitsIntoIt) {
  const TestStore store(
      R"({"cabinets": [{"number": 1, "name": "受信キャビネットの長い名前", "folders": [
      {"number": 1, "name": "新着メールの長い名前\u001b[2J", "mails": [{"kind": 20, "title": "x", "columns": {"TextData": "t"}}]}]}]})");
  std::string line = "stty cols 40;";
  for (const std::string& word : store.Command("export", {"--to", store.Target().string()}))
    line += " '" + word + '\'';
  const ToolResult result = RunProgram({"script", "-qec", line + " >/dev/null", "/dev/null"});
  EXPECT_EQ(result.exitCode, 0) << result.out;
  std::vector<std::string> shown;
  for (std::size_t start = 0; (start = result.out.find("\r\x1B[K", start)) != std::string::npos;) {
    start += 4;
    shown.push_back(result.out.substr(start, result.out.find_first_of("\r\n", start) - start));
  }
  for (const char* wanted :
       {"listing the mails of 受信", "[             ] 0/1 writing 受", "flushing to the disk: 受",
        "comparing with the list", "writing the contacts"}) {
    EXPECT_THAT(shown, testing::Contains(HasSubstr(wanted))) << wanted;
  }
  for (const std::string& text : shown) {
    // What is drawn, not what stays after the line is cleared.
    if (text.find(": 1 mails") != std::string::npos) continue;
    EXPECT_THAT(text, testing::Not(HasSubstr("\x1B"))) << "of the mail's own";
    const auto isFirst = [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; };
    const auto isWide = [](char c) { return static_cast<unsigned char>(c) >= 0xE0; };
    EXPECT_LT(std::ranges::count_if(text, isFirst) + std::ranges::count_if(text, isWide), 40)
        << text;
  }
}

TEST_F(Inspection, EveryWayToTheStore) {
  const std::string tool = ToolPath().string();
  const fs::path odd = store_.directory().path() / "a;b:c=d";
  fs::create_directory_symlink(store_.store().root, odd);
  const std::string registry = (odd / store_.store().registryFile.filename()).string();
  const std::string drive = "c:=" + (odd / "c").string();
  const Environment environment = {{"NIMPORT_REGISTRY", store_.store().RegistryVariable()},
                                   {"NIMPORT_DRIVES", store_.store().DrivesVariable()}};
  const struct {
    std::vector<std::string> command;
    Environment environment;
    json member;
    const char* why;
  } cases[] = {
      {{tool, "tree", "--registry", registry, "--drive", drive}, {}, "QZA00001", "registry"},
      {{tool, "--registry", registry, "tree", "--drive", drive, "--member", "QZX00001"},
       {},
       "QZX00001",
       "another member; options before the subcommand"},
      {{tool, "tree", "--from", (odd / "c/NIFTY/Data").string()}, {}, nullptr, "directory alone"},
      {{tool, "tree"}, environment, "QZA00001", "the environment"},
      {{tool, "tree", "--member", "QZX00001"}, environment, "QZX00001", "both"},
  };
  for (auto c : cases) {
    c.command.emplace_back("--json");
    const ToolResult result = RunProgram(c.command, c.environment);
    EXPECT_EQ(result.exitCode, 0) << c.why << ": " << result.err;
    EXPECT_EQ(json::parse(result.out)["account"], c.member) << c.why;
  }
}

}  // namespace
}  // namespace nimport::tests
