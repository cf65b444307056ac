#include <filesystem>
#include <fstream>
#include <functional>
#include <set>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "command/store.h"
#include "command/tool.h"

namespace nimport::tests {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

constexpr const char* FORMATS[] = {"maildir", "mbox", "eml"};

// One mail of every shape in which a store holds mail.
constexpr const char* DESCRIPTION = R"({
  "cabinets": [
    {"number": 1, "name": "受信/1", "folders": [
      {"number": 10, "name": "新着", "mails": [
        {"kind": 20, "title": "例会①", "date": "1998-09-21T20:15:42",
         "columns": {"OriginatorName": "佐倉", "OriginatorID": "QZB04567",
                     "TextData": "来週です。\n\n>From here\nFrom there\n"}},
        {"kind": 34, "title": null, "columns": {}, "mime": {"file": "1.MIM", "text":
         "Date: Thu, 3 Jun 1999 21:15:42 +0900\r\nFrom: a@example.jp\r\nSubject: raw\r\n\r\nFrom me\r\n"}},
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
  ToolResult ExportAs(const std::string& format, const std::string& target = "out") {
    return RunProgram(
        store_.Command("export", {"--to", Target(target).string(), "--format", format, "--json"}));
  }
  [[nodiscard]] fs::path Target(const std::string& name = "out") const {
    return store_.directory().path() / name;
  }

  TestStore store_{DESCRIPTION};
};

json WithSubject(const json& mails, const std::string& subject) {
  json found = json::array();
  for (const json& mail : mails) {
    for (const json& header : mail["headers"]) {
      if (header[0] == "Subject" && header[1] == subject) found.push_back(mail);
    }
  }
  return found;
}

std::string HeaderOf(const json& mail, const std::string& name) {
  for (const json& header : mail["headers"]) {
    if (header[0] == name) return header[1];
  }
  return "(none)";
}

TEST_F(Export, EveryShapeOfMailInEveryFormat) {
  for (const std::string format : FORMATS) {
    SCOPED_TRACE(format);
    const ToolResult result = ExportAs(format, format);
    EXPECT_EQ(result.exitCode, 1) << result.err;
    const json mails = ReadExport(format, Target(format));
    ASSERT_EQ(mails.size(), 7U);
    for (const json& mail : mails) {
      EXPECT_EQ(mail["defects"], json::array()) << mail["raw"];
      EXPECT_NE(HeaderOf(mail, "From"), "(none)");
    }

    const json texts = WithSubject(mails, "例会①");
    ASSERT_EQ(texts.size(), 2U) << "two mails that are the same are still two";
    EXPECT_EQ(texts[0]["from"],
              json::parse(R"([["佐倉 QZB04567", "QZB04567@nifty-manager.invalid"]])"));
    EXPECT_EQ(HeaderOf(texts[0], "X-Nimport-From"), "佐倉 QZB04567");
    EXPECT_EQ(texts[0]["parts"][0]["text"], "来週です。\r\n\r\n>From here\r\nFrom there\r\n");
    EXPECT_EQ(texts[0]["date"], 906376542) << "1998-09-21 20:15:42 +0900";
    EXPECT_EQ(texts[0]["zone"], "+0900");

    const json raw = WithSubject(mails, "raw");
    ASSERT_EQ(raw.size(), 1U);
    // Base64 of the MIME file.
    EXPECT_EQ(raw[0]["raw"],
              "RGF0ZTogVGh1LCAzIEp1biAxOTk5IDIxOjE1OjQyICswOTAwDQpGcm9tOiBhQGV4YW1wbGUuanAN"
              "ClN1YmplY3Q6IHJhdw0KDQpGcm9tIG1lDQo=");

    const json file = WithSubject(mails, "写真");
    ASSERT_EQ(file.size(), 1U);
    EXPECT_EQ(file[0]["parts"], json::parse(R"([{"type": "application/x-lzh-compressed",
        "name": "ソース表.LZH", "disposition": "attachment", "base64": "AP8NCgA="}])"));

    const json whole = WithSubject(mails, "新年");
    ASSERT_EQ(whole.size(), 1U);
    EXPECT_EQ(whole[0]["from"], json::parse(R"([["佐倉", "s@example.jp"]])"));
    EXPECT_EQ(whole[0]["parts"][0]["text"], "本文\r\n");

    const json forwarded = WithSubject(mails, "転送");
    ASSERT_EQ(forwarded.size(), 1U);
    EXPECT_EQ(forwarded[0]["parts"][0]["text"], "\r\nどうぞ。\r\n元の文\r\n");

    for (const json& mail : mails) {
      if (HeaderOf(mail, "Subject") != "(none)") continue;
      EXPECT_EQ(mail["from"], json::parse(R"([["", "QZA00123@nifty-manager.invalid"]])"))
          << "the owner sent it";
      EXPECT_EQ(mail["to"], json::parse(R"([["QZB04567 佐倉", "QZB04567@nifty-manager.invalid"],
                                            ["", "x@example.jp"]])"));
      EXPECT_EQ(mail["date"], nullptr) << "no date is made up";
    }
  }
}

// Nothing but the text tells what these are.
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
  const fs::path target = store.directory().path() / "out";
  const ToolResult result =
      RunProgram(store.Command("export", {"--to", target.string(), "--format", "eml"}));
  EXPECT_EQ(result.exitCode, 0) << result.out;
  std::vector<std::string> texts;
  for (const json& mail : ReadExport("eml", target))
    texts.push_back(mail["parts"][0]["text"]);
  EXPECT_THAT(texts,
              testing::ElementsAre("\r\n\r\nSubject: no header\r\n", "Subject: no header\r\n\r\nx",
                                   "DEFAULT", "\r\nab", "Subject: a\r\n",
                                   "Subject: a\r\n\r\nFrom: b\r\n", "no header at all"))
      << "and nothing of the mail that holds nothing";
}

// Base64 of "Subject: a", an empty line, "b", NUL, "c", a second NUL and a line end LF.
TEST(ExportOfMimeMails, NulBytesStay) {
  const TestStore store(R"({"cabinets": [{"number": 1, "name": "c", "folders": [
      {"number": 1, "name": "f", "mails": [
        {"kind": 34, "columns": {}, "mime": {"file": "1.MIM",
         "base64": "U3ViamVjdDogYQ0KDQpiAGMACg=="}}]}]}]})");
  for (const std::string format : FORMATS) {
    const fs::path target = store.directory().path() / format;
    const ToolResult result =
        RunProgram(store.Command("export", {"--to", target.string(), "--format", format}));
    EXPECT_EQ(result.exitCode, 0) << result.out;
    const json mails = ReadExport(format, target);
    ASSERT_EQ(mails.size(), 1U);
    EXPECT_EQ(mails[0]["raw"], "U3ViamVjdDogYQ0KDQpiAGMADQo=") << format << ", CR LF at the end";
  }
}

TEST_F(Export, AccountNamesEveryMailThatIsNotThere) {
  const ToolResult result = ExportAs("maildir");
  const json account = json::parse(result.out);
  EXPECT_EQ(account["found"], 9);
  EXPECT_EQ(account["written"], 7);
  EXPECT_EQ(account["skipped"], 1);
  EXPECT_EQ(account["failed"], 1);
  ASSERT_EQ(account["failures"].size(), 1U);
  EXPECT_EQ(account["failures"][0]["folder"], "受信%2f1/新着");
  EXPECT_EQ(account["failures"][0]["position"], 4);
  EXPECT_THAT(account["failures"][0]["reason"].get<std::string>(), testing::HasSubstr("GONE.MIM"));
  EXPECT_EQ(account["skippedMails"][0]["position"], 5);
  EXPECT_EQ(account["notes"][0]["folder"], "../送信") << "the date that is missing";
  EXPECT_EQ(json::parse(ReadTree(Target()).at("account.json")), account);
}

TEST_F(Export, FoldersKeepTheirPlaces) {
  static_cast<void>(ExportAs("maildir"));
  for (const char* folder : {"受信%2f1/新着", "受信%2f1/新着 (2)", "_/送信"}) {
    EXPECT_TRUE(fs::is_directory(Target() / folder / "cur")) << folder;
  }
  EXPECT_FALSE(fs::exists(Target().parent_path() / "送信")) << "a cabinet called \"..\"";
}

TEST_F(Export, SecondRunAddsNothing) {
  for (const std::string format : FORMATS) {
    SCOPED_TRACE(format);
    static_cast<void>(ExportAs(format, format));
    auto first = ReadTree(Target(format));
    const json account = json::parse(ExportAs(format, format).out);
    EXPECT_EQ(account["written"], 0);
    EXPECT_EQ(account["alreadyThere"], 7);
    auto second = ReadTree(Target(format));
    first.erase("account.json");
    second.erase("account.json");
    EXPECT_EQ(first, second);

    static_cast<void>(ExportAs(format, format + "-again"));
    auto elsewhere = ReadTree(Target(format + "-again"));
    elsewhere.erase("account.json");
    EXPECT_EQ(first, elsewhere) << "the same store gives the same bytes";
  }
}

// In a directory that others may write to.
TEST_F(Export, WhatStandsUnderATemporaryNameIsNotWrittenTo) {
  const fs::path others = store_.directory().path() / "others";
  std::ofstream(others) << "theirs";
  static_cast<void>(ExportAs("eml", "whole"));
  auto whole = ReadTree(Target("whole"));
  whole.erase("account.json");
  const std::function<void(const fs::path&)> ways[] = {
      [&](const fs::path& name) { fs::create_symlink(others, name); },
      [&](const fs::path& name) { fs::create_hard_link(others, name); },
      // Waits for a reader when it is opened.
      [&](const fs::path& name) { ASSERT_EQ(mkfifo(name.c_str(), 0666), 0); },
  };
  for (const auto& plant : ways) {
    fs::remove_all(Target());
    const fs::path folder = Target() / "受信%2f1/新着";
    fs::create_directories(folder);
    plant(Target() / ".account.json.tmp");
    plant(folder / ".00000.tmp");
    static_cast<void>(ExportAs("eml"));
    auto files = ReadTree(Target());
    EXPECT_EQ(json::parse(files["account.json"])["written"], 7);
    files.erase("account.json");
    EXPECT_EQ(files, whole);
    EXPECT_EQ(fs::file_size(others), 6U);
    EXPECT_EQ(fs::hard_link_count(others), 1U);
  }
}

TEST_F(Export, MailsThatCameBackAreAdded) {
  for (const std::string format : FORMATS) {
    static_cast<void>(ExportAs(format, format));
  }
  std::ofstream(store_.store().databaseDirectory / "Mime" / "GONE.MIM")
      << "From: b@example.jp\r\nSubject: back\r\nDate: Thu, 3 Jun 1999 21:15:42 +0900\r\n\r\nx\r\n";
  for (const std::string format : FORMATS) {
    const json account = json::parse(ExportAs(format, format).out);
    EXPECT_EQ(account["written"], 1) << format;
    EXPECT_EQ(account["alreadyThere"], 7) << format;
    EXPECT_EQ(WithSubject(ReadExport(format, Target(format)), "back").size(), 1U) << format;
  }
}

TEST_F(Export, MailsInTheirFoldersAreKnownByWhatTheyHold) {
  for (const std::string format : FORMATS) {
    SCOPED_TRACE(format);
    static_cast<void>(ExportAs(format, format));
    // As if the two mails at the beginning had been deleted since: all others have moved up.
    json description = json::parse(DESCRIPTION);
    json& mails = description["cabinets"][0]["folders"][0]["mails"];
    mails.erase(0);
    mails.erase(0);
    const TestStore later(description.dump());
    const json account =
        json::parse(RunProgram(later.Command("export", {"--to", Target(format).string(), "--format",
                                                        format, "--json"}))
                        .out);
    EXPECT_EQ(account["written"], 0);
    EXPECT_EQ(account["alreadyThere"], 5);
    EXPECT_EQ(ReadExport(format, Target(format)).size(), 7U);
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
  const auto exportAs = [&](const std::string& format) {
    const fs::path target = store.directory().path() / format;
    return json::parse(
        RunProgram(store.Command("export", {"--to", target.string(), "--format", format, "--json"}))
            .out);
  };
  const auto read = [&](const std::string& format) {
    return ReadExport(format, store.directory().path() / format);
  };
  for (const std::string format : FORMATS) {
    SCOPED_TRACE(format);
    const json account = exportAs(format);
    EXPECT_EQ(account["written"], 4);
    ASSERT_EQ(account["incomplete"].size(), 2U);
    EXPECT_EQ(account["incomplete"][0]["subject"], "lost");
    EXPECT_THAT(account["incomplete"][0]["reason"].get<std::string>(),
                testing::HasSubstr("LOST.ZIP"));
    EXPECT_EQ(account["incomplete"][1]["position"], 2);
    const json mails = read(format);
    ASSERT_EQ(mails.size(), 4U);
    const json lost = WithSubject(mails, "lost");
    ASSERT_EQ(lost.size(), 2U);
    int missing = 0;
    for (const json& mail : lost) {
      missing += HeaderOf(mail, "X-Nimport-Missing") == "attached file" ? 1 : 0;
      EXPECT_EQ(mail["from"][0][1], "QZC00089@nifty-manager.invalid");
    }
    EXPECT_EQ(missing, 1);
    EXPECT_NE(HeaderOf(lost[0], "Message-ID"), HeaderOf(lost[1], "Message-ID"));
    const json empty = WithSubject(mails, "empty");
    EXPECT_EQ(empty[0]["parts"][0]["name"], "README") << "the dot belongs to the directory";
    EXPECT_EQ(empty[0]["parts"][0]["base64"], "");
    EXPECT_EQ(exportAs(format)["alreadyThere"], 4);
  }
  std::ofstream(store.store().root / "c" / "NIFTY" / "LOST.ZIP") << "found";
  for (const std::string format : FORMATS) {
    SCOPED_TRACE(format);
    EXPECT_EQ(exportAs(format)["written"], 1);
    const json mails = read(format);
    EXPECT_EQ(mails.size(), 4U) << "the mail without its file is gone";
    const json lost = WithSubject(mails, "lost");
    ASSERT_EQ(lost.size(), 2U);
    std::set<std::string> files;
    for (const json& mail : lost)
      files.insert(mail["parts"][0].value("base64", "(none)"));
    EXPECT_THAT(files, testing::ElementsAre("Zm91bmQ=", "b3RoZXI="));
    EXPECT_EQ(exportAs(format)["alreadyThere"], 4);
  }
  fs::remove(store.store().root / "c" / "NIFTY" / "LOST.ZIP");
  for (const std::string format : FORMATS) {
    EXPECT_EQ(exportAs(format)["alreadyThere"], 4) << "the whole mail stays";
  }
}

TEST_F(Export, MailsThatAReaderFlaggedOrMovedAreRecognised) {
  static_cast<void>(ExportAs("maildir"));
  const fs::path folder = Target() / "受信%2f1/新着";
  int moved = 0;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder / "cur")) {
    const std::string name = entry.path().filename().string();
    const std::string base = name.substr(0, name.find(':'));
    fs::rename(entry.path(),
               moved++ == 0 ? folder / "new" / base : folder / "cur" / (base + ":2,FRS"));
  }
  const json account = json::parse(ExportAs("maildir").out);
  EXPECT_EQ(account["written"], 0);
}

TEST_F(Export, FileTimesAreTheMailsOwn) {
  static_cast<void>(ExportAs("eml"));
  const json mails = ReadExport("eml", Target());
  for (const json& mail : mails) {
    if (mail["date"].is_null()) continue;
    EXPECT_EQ(mail["mtime"], mail["date"]) << mail["file"];
  }
}

TEST_F(Export, TheStoreIsNotTouched) {
  const auto before = ReadTree(store_.store().root);
  for (const std::string format : FORMATS)
    static_cast<void>(ExportAs(format, format));
  EXPECT_EQ(ReadTree(store_.store().root), before);
  const fs::path within = store_.store().databaseDirectory / "out";
  const ToolResult result = RunProgram(store_.Command("export", {"--to", within.string()}));
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_FALSE(fs::exists(within));
}

TEST_F(Export, CannotRun) {
  const struct {
    std::vector<std::string> arguments;
    const char* message;
  } cases[] = {
      {{"export"}, "--to"},
      {{"export", "--to", Target().string(), "--format", "pst"}, "--format"},
      {{"export", "--to", Target().string(), "--from", "/nonexistent"}, "/nonexistent"},
      {{"export", "--to", Target().string(), "--registry", "/nonexistent"}, "/nonexistent"},
      {{"export", "--to", Target().string(), "--drive", "C"}, "C=PATH"},
      {{"export", "--to", Target().string()}, "nimport: "},
      {{"export", "--to", "/dev/null/x", "--from", store_.store().databaseDirectory.string()},
       "/dev/null"},
  };
  for (const auto& c : cases) {
    std::vector<std::string> command = {ToolPath().string()};
    command.insert(command.end(), c.arguments.begin(), c.arguments.end());
    const ToolResult result = RunProgram(command);
    EXPECT_EQ(result.exitCode, 2) << result.out;
    EXPECT_THAT(result.err, testing::HasSubstr(c.message));
    EXPECT_EQ(result.out, "");
  }
}

}  // namespace
}  // namespace nimport::tests
