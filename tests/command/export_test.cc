#include <filesystem>
#include <fstream>
#include <functional>
#include <set>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "command/tool.h"

namespace nimport::tests {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using testing::HasSubstr;

constexpr const char* FORMATS[] = {"maildir", "mbox", "eml"};

// One mail of every shape in which a store holds mail. The MIME file has NUL bytes, a line that an
// mbox has to quote, and LF for its last line end.
constexpr const char* DESCRIPTION = R"({
  "cabinets": [
    {"number": 1, "name": "受信/1", "folders": [
      {"number": 10, "name": "新着", "mails": [
        {"kind": 20, "title": "例会①", "date": "1998-09-21T20:15:42",
         "columns": {"OriginatorName": "佐倉", "OriginatorID": "QZB04567",
                     "TextData": "来週です。\n\n>From here\nFrom there\n"}},
        {"kind": 34, "title": null, "columns": {}, "mime": {"file": "1.MIM", "base64":
         "RGF0ZTogVGh1LCAzIEp1biAxOTk5IDIxOjE1OjQyICswOTAwDQpGcm9tOiBhQGV4YW1wbGUuanANClN1YmplY3Q6IHJhdw0KDQpGcm9tIG1lAC4ACg=="}},
        {"kind": 19, "title": "写真", "date": "1998-10-03T07:05:09",
         "columns": {"OriginatorID": "QZC00089"},
         "storedFile": {"path": "C:\\NIFTY\\Download\\ソース表.LZH", "contents": {"hex": "00ff0d0a00"}}},
        {"kind": 20, "columns": {"EmailMode": 1, "TextData":
         "Subject: 新年\nFrom: 佐倉 <s@example.jp>\nDate: Tue, 13 Jan 1998 10:00:00 +0900\n\n本文\n"}},
        {"kind": 34, "columns": {}, "mime": {"file": "GONE.MIM"}},
        {"kind": 20, "columns": {"EmailMode": 1, "TextData": null}},
        {"kind": 20, "title": "例会①", "date": "1998-09-21T20:15:42",
         "columns": {"OriginatorName": "佐倉", "OriginatorID": "QZB04567",
                     "TextData": "来週です。\n\n>From here\nFrom there\n"}}
      ]},
      {"number": 11, "name": "新着", "mails": []}
    ]},
    {"number": 2, "name": "..", "folders": [
      {"number": 20, "name": "送信", "mails": [
        {"kind": 22, "title": null, "date": null,
         "columns": {"ToField": "QZB04567 佐倉,x@example.jp", "TextData": "plain\r\n"}},
        {"kind": 38, "title": "転送", "date": "1999-01-01T00:00:00",
         "columns": {"ToField": "x@example.jp", "TextData": "\r\nどうぞ。\r\n",
                     "ForwardText": "元の文\r\n"}}
      ]}
    ]}
  ]})";

class Export : public testing::Test {
 protected:
  json ExportAs(const std::string& format, const std::string& target = "out") {
    return store_.Export(format, target, 1);
  }

  TestStore store_{DESCRIPTION};
};

// "(none)" where there is none.
std::string HeaderOf(const json& mail, const std::string& name) {
  for (const json& header : mail["headers"]) {
    if (header[0] == name) return header[1];
  }
  return "(none)";
}

json WithSubject(const json& mails, const std::string& subject) {
  json found = json::array();
  for (const json& mail : mails) {
    if (HeaderOf(mail, "Subject") == subject) found.push_back(mail);
  }
  return found;
}

TEST_F(Export, EveryShapeOfMailInEveryFormat) {
  const struct {
    const char* subject;
    const char* pointer;
    const char* value;  // JSON
  } cases[] = {
      {"例会①", "/from", R"([["佐倉 QZB04567", "QZB04567@nifty-manager.invalid"]])"},
      {"例会①", "/parts/0/text", R"("来週です。\r\n\r\n>From here\r\nFrom there\r\n")"},
      {"例会①", "/date", "906376542"},  // 1998-09-21 20:15:42 +0900
      {"例会①", "/zone", R"("+0900")"},
      {"raw", "/raw",
       R"("RGF0ZTogVGh1LCAzIEp1biAxOTk5IDIxOjE1OjQyICswOTAwDQpGcm9tOiBhQGV4YW1wbGUuanANClN1YmplY3Q6IHJhdw0KDQpGcm9tIG1lAC4ADQo=")"},
      {"写真", "/parts", R"([{"type": "application/x-lzh-compressed", "name": "ソース表.LZH",
                              "disposition": "attachment", "base64": "AP8NCgA="}])"},
      {"新年", "/from", R"([["佐倉", "s@example.jp"]])"},
      {"新年", "/parts/0/text", R"("本文\r\n")"},
      {"転送", "/parts/0/text", R"("\r\nどうぞ。\r\n元の文\r\n")"},
      // The owner sent it, and no date is made up.
      {"(none)", "/from", R"([["", "QZA00123@nifty-manager.invalid"]])"},
      {"(none)", "/to", R"([["QZB04567 佐倉", "QZB04567@nifty-manager.invalid"],
                            ["", "x@example.jp"]])"},
      {"(none)", "/date", "null"},
  };
  const Files before = ReadTree(store_.store().root);
  for (const std::string format : FORMATS) {
    SCOPED_TRACE(format);
    ExportAs(format, format);
    const json mails = ReadExport(format, store_.Target(format));
    ASSERT_EQ(mails.size(), 7U);
    for (const json& mail : mails) {
      EXPECT_EQ(mail["defects"], json::array()) << mail["raw"];
      EXPECT_NE(HeaderOf(mail, "From"), "(none)");
      if (format == "eml" && !mail["date"].is_null()) {
        EXPECT_EQ(mail["mtime"], mail["date"]) << mail["file"];
      }
    }
    for (const auto& c : cases) {
      const json found = WithSubject(mails, c.subject);
      // Two mails that are the same are still two.
      ASSERT_EQ(found.size(), std::string(c.subject) == "例会①" ? 2U : 1U) << c.subject;
      EXPECT_EQ(found[0].at(json::json_pointer(c.pointer)), json::parse(c.value)) << c.subject;
    }
    EXPECT_EQ(HeaderOf(WithSubject(mails, "例会①")[0], "X-Nimport-From"), "佐倉 QZB04567");
  }
  EXPECT_EQ(ReadTree(store_.store().root), before) << "the store is not touched";
}

// Nothing but the text tells what these are.
// The first mail is code page 932 without a word of it, the second is lawful, the third a whole
// mail that does not begin with its header.
TEST(ReadableExport, GarbledMailsHaveAReadableForm) {
  const TestStore store(R"({"cabinets": [{"number": 1, "name": "a", "folders": [
    {"number": 2, "name": "b", "mails": [
      {"kind": 34, "columns": {}, "mime": {"file": "1.MIM", "base64":
       "U3ViamVjdDoglVwNCk1lc3NhZ2UtSUQ6IDxhQGI+DQoNCodADQo="}},
      {"kind": 34, "columns": {}, "mime": {"file": "2.MIM", "text": "Subject: x\r\n\r\ny\r\n"}},
      {"kind": 20, "columns": {"EmailMode": 1, "TextData":
       "\nFrom a@b Thu Jan  1\nFrom: c@d\nSubject: 新年\n\n本文\n"}}
    ]}]}]})");
  for (const char* format : FORMATS) {
    const std::string name = format;
    const auto run = [&](const std::vector<std::string>& more) {
      std::vector<std::string> options = {"--to", store.Target(name + more[0]).string(), "--format",
                                          format};
      options.insert(options.end(), more.begin() + 1, more.end());
      return store.Run("export", options).out;
    };
    const std::string other = store.Target(name + "-other").string();
    EXPECT_THAT(run({"-plain"}), HasSubstr("garbled: 1 mail would be shown garbled by today's "
                                           "programs: export them with --readable\n"));
    EXPECT_THAT(run({"-one", "--readable"}), HasSubstr("programs: they have a readable form\n"));
    run({"-two", "--readable", other});
    const json plain = ReadExport(format, store.Target(name + "-plain"));
    EXPECT_EQ(HeaderOf(WithSubject(plain, "新年")[0], "From"), "c@d");
    const json one = ReadExport(format, store.Target(name + "-one"));
    const json readable = ReadExport(format, other);
    EXPECT_EQ(ReadExport(format, store.Target(name + "-two")).size(), plain.size());
    for (const json* mails : {&one, &readable}) {
      const json mail = WithSubject(*mails, "表")[0];
      EXPECT_EQ(mail["parts"][0]["text"], "①\r\n");
      EXPECT_EQ(HeaderOf(mail, "Message-ID"), "<a@b>");
      EXPECT_EQ(WithSubject(*mails, "x")[0]["raw"], WithSubject(plain, "x")[0]["raw"]);
    }
    const json original = WithSubject(one, "表")[0]["parts"].back();
    EXPECT_EQ(original["name"], "original.eml");
    EXPECT_EQ(WithSubject(readable, "表")[0]["parts"].size(), 1U) << "the faithful one is beside";
    // A second run finds all of them.
    EXPECT_THAT(run({"-two", "--readable", other}), HasSubstr("0 written, 3 already there"));
    EXPECT_EQ(ReadExport(format, other), readable);
  }
  const std::string inner = store.Target("out/inner").string();
  EXPECT_EQ(store.Run("export", {"--to", store.Target().string(), "--readable", inner}).exitCode,
            2);
}

TEST(ExportOfBareMails, TextIsExactlyTheStores) {
  const TestStore store(R"({"cabinets": [{"number": 1, "name": "c", "folders": [
      {"number": 1, "name": "f", "mails": [
        {"kind": 22, "columns": {"TextData": "\r\n\r\nSubject: no header\r\n"}},
        {"kind": 22, "columns": {"TextData": "Subject: no header\r\n\r\nx"}},
        {"kind": 22, "columns": {"TextData": "DEFAULT"}},
        {"kind": 38, "columns": {"TextData": "\r\na", "ForwardText": "b"}},
        {"kind": 38, "columns": {"TextData": "Subject: a\r\n", "ForwardText": null}},
        {"kind": 38, "columns": {"TextData": "Subject: a\r\n\r\n", "ForwardText": "From: b\r\n"}},
        {"kind": 20, "columns": {"EmailMode": 1, "TextData": "no header at all"}},
        {"kind": 22, "columns": {"TextData": null}}
      ]}]}]})");
  store.Export("eml");
  std::vector<std::string> texts;
  for (const json& mail : ReadExport("eml", store.Target()))
    texts.push_back(mail["parts"][0]["text"]);
  EXPECT_THAT(texts,
              testing::ElementsAre("\r\n\r\nSubject: no header\r\n", "Subject: no header\r\n\r\nx",
                                   "DEFAULT", "\r\nab", "Subject: a\r\n",
                                   "Subject: a\r\n\r\nFrom: b\r\n", "no header at all"))
      << "and nothing of the mail that holds nothing";
}

TEST_F(Export, AccountNamesEveryMailThatIsNotThere) {
  const json account = ExportAs("maildir");
  const struct {
    const char* pointer;
    json value;
  } cases[] = {{"/found", 9},
               {"/written", 7},
               {"/skipped", 1},
               {"/failed", 1},
               {"/failures/0/folder", "受信%2f1/新着"},
               {"/failures/0/position", 4},
               {"/skippedMails/0/position", 5},
               {"/notes/0/folder", "../送信"}};  // the date that is missing
  for (const auto& c : cases)
    EXPECT_EQ(account.at(json::json_pointer(c.pointer)), c.value) << c.pointer;
  ASSERT_EQ(account["failures"].size(), 1U);
  EXPECT_THAT(account["failures"][0]["reason"].get<std::string>(), HasSubstr("GONE.MIM"));
  EXPECT_EQ(json::parse(ReadFile(store_.Target() / "account.json")), account);
}

TEST_F(Export, FoldersKeepTheirPlaces) {
  ExportAs("maildir");
  for (const char* folder : {"受信%2f1/新着", "受信%2f1/新着 (2)", "_/送信"}) {
    EXPECT_TRUE(fs::is_directory(store_.Target() / folder / "cur")) << folder;
  }
  EXPECT_FALSE(fs::exists(store_.directory().path() / "送信")) << "a cabinet called \"..\"";
}

TEST_F(Export, AgainAddsOnlyWhatIsNew) {
  const auto expect = [](const json& account, int written, int alreadyThere) {
    EXPECT_EQ(account["written"], written);
    EXPECT_EQ(account["alreadyThere"], alreadyThere);
  };
  for (const std::string format : FORMATS) {
    SCOPED_TRACE(format);
    ExportAs(format, format);
    const Files first = store_.Exported(format);
    expect(ExportAs(format, format), 0, 7);
    EXPECT_EQ(first, store_.Exported(format));
    ExportAs(format, format + "-again");
    EXPECT_EQ(first, store_.Exported(format + "-again")) << "the same store gives the same bytes";

    // As if the two mails at the beginning had been deleted since: all others have moved up.
    json description = json::parse(DESCRIPTION);
    json& mails = description["cabinets"][0]["folders"][0]["mails"];
    mails.erase(0);
    mails.erase(0);
    const TestStore later(description.dump());
    expect(later.Ask("export", {"--to", store_.Target(format), "--format", format}, 1), 0, 5);
    EXPECT_EQ(first, store_.Exported(format));
  }
  std::ofstream(store_.Database("Mime") / "GONE.MIM")
      << "From: b@example.jp\r\nSubject: back\r\nDate: Thu, 3 Jun 1999 21:15:42 +0900\r\n\r\nx\r\n";
  for (const std::string format : FORMATS) {
    SCOPED_TRACE(format);
    expect(store_.Export(format, format), 1, 7);
    EXPECT_EQ(WithSubject(ReadExport(format, store_.Target(format)), "back").size(), 1U);
  }
}

// Without the owner's ID and in another zone, and then with both.
TEST_F(Export, WhatARunWouldWriteOtherwiseIsToldAndRedone) {
  const auto run = [this](const std::string& format, const std::string& target,
                          std::vector<std::string> more, const Environment& environment = {}) {
    std::vector<std::string> command = {ToolPath().string(),
                                        "export",
                                        "--json",
                                        "--from",
                                        store_.store().databaseDirectory.string(),
                                        "--drive",
                                        store_.store().DrivesVariable(),
                                        "--format",
                                        format,
                                        "--to",
                                        store_.Target(target).string()};
    command.insert(command.end(), more.begin(), more.end());
    const ToolResult result = RunProgram(command, environment);
    EXPECT_EQ(result.exitCode, 1) << result.err;
    const bool isOwnerKnown = more.front() == "--member";
    EXPECT_EQ(result.err.find("--member ID --redo") == std::string::npos, isOwnerKnown);
    const json account = json::parse(result.out);
    EXPECT_EQ(account["undisclosedSenders"], isOwnerKnown ? 0 : 2);
    return account;
  };
  const auto mailsOf = [this](const std::string& format, const std::string& target) {
    std::set<std::string> raw;
    for (const json& mail : ReadExport(format, store_.Target(target)))
      raw.insert(mail["raw"].get<std::string>());
    return raw;
  };
  for (const std::string format : FORMATS) {
    SCOPED_TRACE(format);
    run(format, format, {"--timezone=-03:30"});
    const json sent = WithSubject(ReadExport(format, store_.Target(format)), "転送")[0];
    EXPECT_EQ(sent["from"], R"([["undisclosed", "undisclosed@nifty-manager.invalid"]])"_json);
    EXPECT_EQ(sent["zone"], "-0330");
    const Files first = store_.Exported(format);
    const json told = run(format, format, {"--member", "QZA00123"});
    EXPECT_EQ(told["wouldChange"], 5);
    EXPECT_EQ(told["rewritten"], 0);
    EXPECT_EQ(store_.Exported(format), first);
    const json redone = run(format, format, {"--member", "QZA00123", "--redo"});
    EXPECT_EQ(redone["rewritten"], 5);
    EXPECT_EQ(redone["wouldChange"], 0);
    run(format, format + "-new", {"--member", "QZA00123"}, {{"TZ", "America/New_York"}});
    EXPECT_EQ(mailsOf(format, format), mailsOf(format, format + "-new"));
    if (format == "mbox") continue;  // which has what was redone at its end
    EXPECT_EQ(store_.Exported(format), store_.Exported(format + "-new"));
  }

  // What somebody has changed stays, and so do a reader's flags.
  const fs::path folder = store_.Target("maildir") / "_/送信/cur";
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    const std::string name = entry.path().string();
    if (ReadFile(name).find("Date:") == std::string::npos) {
      std::ofstream(name, std::ios::app) << "edited";
    } else {
      fs::rename(name, name.substr(0, name.rfind(':')) + ":2,FS");
    }
  }
  const json redone = run("maildir", "maildir", {"--member", "QZA00999", "--redo"});
  EXPECT_EQ(redone["rewritten"], 1);
  int kept = 0;
  for (const auto& [name, text] : ReadTree(folder))
    kept += name.ends_with(":2,FS") || text.ends_with("edited") ? 1 : 0;
  EXPECT_EQ(kept, 2);
}

TEST_F(Export, MailsThatAReaderFlaggedOrMovedAreRecognised) {
  ExportAs("maildir");
  const fs::path folder = store_.Target() / "受信%2f1/新着";
  int moved = 0;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder / "cur")) {
    const std::string name = entry.path().filename().string();
    const std::string base = name.substr(0, name.find(':'));
    fs::rename(entry.path(),
               moved++ == 0 ? folder / "new" / base : folder / "cur" / (base + ":2,FRS"));
  }
  EXPECT_EQ(ExportAs("maildir")["written"], 0);
}

// In a directory that others may write to.
TEST_F(Export, WhatStandsUnderATemporaryNameIsNotWrittenTo) {
  const fs::path others = store_.Target("others");
  std::ofstream(others) << "theirs";
  ExportAs("eml", "whole");
  const std::function<void(const fs::path&)> ways[] = {
      [&](const fs::path& name) { fs::create_symlink(others, name); },
      [&](const fs::path& name) { fs::create_hard_link(others, name); },
      // Waits for a reader when it is opened.
      [&](const fs::path& name) { ASSERT_EQ(mkfifo(name.c_str(), 0666), 0); },
  };
  for (const auto& plant : ways) {
    fs::remove_all(store_.Target());
    const fs::path folder = store_.Target() / "受信%2f1/新着";
    fs::create_directories(folder);
    plant(store_.Target() / ".account.json.tmp");
    plant(folder / ".00000.tmp");
    EXPECT_EQ(ExportAs("eml")["written"], 7);
    EXPECT_EQ(json::parse(ReadFile(store_.Target() / "account.json"))["written"], 7);
    EXPECT_EQ(store_.Exported(), store_.Exported("whole"));
    EXPECT_EQ(fs::file_size(others), 6U);
    EXPECT_EQ(fs::hard_link_count(others), 1U);
  }
}

// What is known of a mail whose file is missing is exported, until the file has come.
TEST(ExportOfStoredFiles, MissingFilesAreNamedAndComeLater) {
  const TestStore store(R"({"cabinets": [{"number": 1, "name": "c", "folders": [
      {"number": 1, "name": "f", "mails": [
        {"kind": 19, "title": "lost", "date": "1998-10-03T07:05:09",
         "columns": {"OriginatorID": "QZC00089"},
         "storedFile": {"path": "C:\\NIFTY\\LOST.ZIP"}},
        {"kind": 19, "title": "lost", "date": "1998-10-03T07:05:09",
         "columns": {"OriginatorID": "QZC00089"},
         "storedFile": {"path": "C:\\NIFTY\\OTHER.ZIP", "contents": "other"}},
        {"kind": 23, "title": null, "columns": {"RecipientList": "QZC00089", "UploadFilePath": null}},
        {"kind": 23, "title": "empty", "columns": {"RecipientList": "QZC00089"},
         "storedFile": {"path": "C:\\NIFTY\\OLD.DIR\\README", "contents": ""}}
      ]}]}]})");
  const auto read = [&](const std::string& format) {
    const json mails = ReadExport(format, store.Target(format));
    EXPECT_EQ(mails.size(), 4U);
    EXPECT_EQ(WithSubject(mails, "lost").size(), 2U);
    return mails;
  };
  for (const std::string format : FORMATS) {
    SCOPED_TRACE(format);
    const json account = store.Export(format, format, 1);
    EXPECT_EQ(account["written"], 4);
    ASSERT_EQ(account["incomplete"].size(), 2U);
    EXPECT_EQ(account["incomplete"][0]["subject"], "lost");
    EXPECT_THAT(account["incomplete"][0]["reason"].get<std::string>(), HasSubstr("LOST.ZIP"));
    EXPECT_EQ(account["incomplete"][1]["position"], 2);
    const json mails = read(format);
    const json lost = WithSubject(mails, "lost");
    int missing = 0;
    for (const json& mail : lost) {
      missing += HeaderOf(mail, "X-Nimport-Missing") == "attached file" ? 1 : 0;
      EXPECT_EQ(mail["from"][0][1], "QZC00089@nifty-manager.invalid");
    }
    EXPECT_EQ(missing, 1);
    EXPECT_NE(HeaderOf(lost[0], "Message-ID"), HeaderOf(lost[1], "Message-ID"));
    const json part = WithSubject(mails, "empty")[0]["parts"][0];
    EXPECT_EQ(part["name"], "README") << "the dot belongs to the directory";
    EXPECT_EQ(part["base64"], "");
    EXPECT_EQ(store.Export(format, format, 1)["alreadyThere"], 4);
  }
  const fs::path file = store.store().root / "c" / "NIFTY" / "LOST.ZIP";
  std::ofstream(file) << "found";
  for (const std::string format : FORMATS) {
    SCOPED_TRACE(format);
    EXPECT_EQ(store.Export(format, format, 1)["written"], 1);
    std::set<std::string> files;
    for (const json& mail : WithSubject(read(format), "lost"))
      files.insert(mail["parts"][0].value("base64", "(none)"));
    EXPECT_THAT(files, testing::ElementsAre("Zm91bmQ=", "b3RoZXI="));
    EXPECT_EQ(store.Export(format, format, 1)["alreadyThere"], 4);
  }
  fs::remove(file);
  for (const std::string format : FORMATS) {
    const json account = store.Export(format, format, 1);
    EXPECT_EQ(account["alreadyThere"], 4) << "the whole mail stays";
    EXPECT_EQ(account["wouldChange"], 0);
  }
}

// Whatever the store is called by, and the target.
TEST_F(Export, TheStoreIsNoTarget) {
  const fs::path data = store_.store().databaseDirectory;
  const fs::path link = store_.directory().path() / "link";
  fs::create_directory_symlink(data, link);
  fs::create_directories(store_.directory().path() / "wine/dosdevices");
  fs::create_directory_symlink(store_.store().driveC,
                               store_.directory().path() / "wine/dosdevices/c:");
  fs::copy_file(store_.store().registryFile, store_.directory().path() / "wine/system.reg");
  const Environment named = {{"NIMPORT_REGISTRY", store_.store().RegistryVariable()},
                             {"NIMPORT_DRIVES", store_.store().DrivesVariable()}};
  const Environment wine = {{"WINEPREFIX", store_.directory().str() + "/wine"}};
  const struct {
    std::vector<std::string> options;
    Environment environment;
  } ways[] = {{{"--from", data.string()}, {}},
              {{"--from", link.string()}, {}},
              {{"--registry", store_.store().registryFile.string(), "--drive",
                store_.store().DrivesVariable()},
               {}},
              {{}, named},
              {{"--member", "QZA00123"}, wine}};
  for (const auto& way : ways) {
    for (const fs::path& target : {data, data / "Mime/new/out", link / "out"}) {
      std::vector<std::string> command = {ToolPath().string(), "export", "--to", target.string()};
      command.insert(command.end(), way.options.begin(), way.options.end());
      const ToolResult result = RunProgram(command, way.environment);
      EXPECT_EQ(result.exitCode, 2) << target;
      EXPECT_THAT(result.err, HasSubstr("lies within the store"));
    }
  }
  EXPECT_FALSE(fs::exists(data / "out"));
  EXPECT_FALSE(fs::exists(data / "Mime/new"));
}

TEST_F(Export, CannotRun) {
  const std::string target = store_.Target().string();
  const std::string database = store_.store().databaseDirectory.string();
  const struct {
    std::vector<std::string> arguments;
    const char* message;
  } cases[] = {
      {{"export"}, "--to"},
      {{"export", "--to", target, "--format", "pst"}, "--format"},
      {{"export", "--to", target, "--from", "/nonexistent"}, "/nonexistent"},
      {{"export", "--to", target, "--registry", "/nonexistent"}, "/nonexistent"},
      {{"export", "--to", target, "--drive", "C"}, "C=PATH"},
      {{"export", "--to", target}, "nimport: "},
      {{"list", "--timezone", "Asia/Tokio"}, "Asia/Tokio: no such time zone"},
      {{"export", "--to", "/dev/null/x", "--from", database}, "/dev/null"},
      {{"export", "--to", database + "/out", "--from", database}, "within the store"},
  };
  for (const auto& c : cases) {
    std::vector<std::string> command = {ToolPath().string()};
    command.insert(command.end(), c.arguments.begin(), c.arguments.end());
    const ToolResult result = RunProgram(command);
    EXPECT_EQ(result.exitCode, 2) << result.out;
    EXPECT_THAT(result.err, HasSubstr(c.message));
    EXPECT_EQ(result.out, "");
  }
  EXPECT_FALSE(fs::exists(database + "/out"));
}

}  // namespace
}  // namespace nimport::tests
