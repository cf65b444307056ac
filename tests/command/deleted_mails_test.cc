// Mails that were deleted: what comes back of them, and that nothing of it is mixed with what
// lives.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "command/tool.h"
#include "common/memory_file.h"
#include "jetwriter/row_deleter.h"

namespace nimport::tests {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using testing::ElementsAre;
using testing::Pair;
using testing::StartsWith;

// Rows that live leave copies that are marked as deleted.
constexpr const char* STORE = R"({
  "tables": {"DataTBL": {"deletedEvery": 1, "deletedKeepBytes": true},
             "EmRcvText": {"deletedEvery": 2, "deletedKeepBytes": true}},
  "cabinets": [{"number": 1, "name": "箱", "folders": [
    {"number": 1, "name": "受信", "mails": [
      {"kind": 20, "title": "lives", "columns": {"TextData": "here"}},
      {"kind": 20, "deleted": true, "title": "text", "date": "1998-04-06T09:00:00",
       "columns": {"OriginatorID": "name", "OriginatorName": "QZE00001",
                   "TextData": {"repeat": "消えた文。\r\n", "times": 700}}},
      {"kind": 20, "deleted": true, "columns": {"EmailMode": 1,
       "TextData": "Subject: 全部\r\nDate: Mon, 6 Apr 1998 09:00:00 +0900\r\n\r\nbody ①"}},
      {"kind": 34, "deleted": true, "mime": {"file": "A.MIM", "lines": [
        "Subject: mime", "X: \u0001", "", "body"]}},
      {"kind": 34, "deleted": true, "title": "no file", "mime": {"file": "B.MIM"}},
      {"kind": 34, "deleted": true, "title": "file given again", "mime": {"file": "C.MIM"}},
      {"kind": 34, "mime": {"file": "c.mim", "lines": ["Subject: another", "", "lives"]}},
      {"kind": 20, "deleted": true, "title": "no text", "noFamilyRow": true},
      {"kind": 22, "deleted": true, "inDataTable": false,
       "columns": {"ToField": "QZT00002", "TextData": "no list"}},
      {"kind": 34, "deleted": true, "noFamilyRow": true},
      {"kind": 18, "deleted": true, "title": "unknown kind"}]}]}],
  "mails": [{"kind": 19, "folder": 77, "deleted": true, "title": "file",
             "storedFile": {"path": "C:\\NIFTY\\F.LZH", "contents": "stored"}}]})";

// Subject or recipient of each mail that `list --deleted` shows, with what it says of it.
std::vector<std::pair<std::string, std::string>> Listed(const json& folder) {
  std::vector<std::pair<std::string, std::string>> mails;
  for (const json& mail : folder["mails"]) {
    const json& name = mail["subject"].is_null() ? mail["to"] : mail["subject"];
    mails.emplace_back(name.get<std::string>(), mail["recovered"].get<std::string>());
  }
  return mails;
}

std::string MailWith(const Files& files, const std::string& part) {
  const auto found = std::ranges::find_if(
      files, [&](const auto& file) { return file.second.find(part) != std::string::npos; });
  return found == files.end() ? "" : found->second;
}

TEST(DeletedMails, ComeBackWithWhatIsLeftOfThem) {
  const TestStore store(STORE);
  const json folders = store.Ask("list", {"--deleted"});
  ASSERT_EQ(folders.size(), 3U);
  EXPECT_EQ(folders[0]["folder"], "(deleted)/箱/受信");
  EXPECT_THAT(Listed(folders[0]),
              ElementsAre(Pair("text", "whole"), Pair("全部", "whole"), Pair("mime", "whole"),
                          Pair("no file", "partial; its MIME file B.MIM"),
                          Pair("file given again", "partial; its MIME file C.MIM"),
                          Pair("no text", "partial; its row of EmRcvText")));
  EXPECT_EQ(folders[1]["folder"], "(deleted)/(no cabinet)/(folder 77)");
  EXPECT_THAT(Listed(folders[1]), ElementsAre(Pair("file", "whole")));
  EXPECT_EQ(folders[2]["folder"], "(deleted)/(no cabinet)/(no folder)");
  EXPECT_THAT(Listed(folders[2]),
              ElementsAre(Pair("QZT00002", "partial; its row of the list of mails")));
  const json deleted = store.Ask("check", {"--deep"})["deep"]["deleted"];
  EXPECT_EQ(deleted, json({{"whole", 4}, {"partial", 4}, {"onlyNumber", 2}, {"emptySlots", 0}}));
}

TEST(DeletedMails, AreExportedBesideWhatLives) {
  const TestStore store(STORE);
  store.Export("eml", "living");
  const std::vector<std::string> arguments = {"--deleted", "--to", store.Target(), "--format",
                                              "eml"};
  store.Ask("export", arguments);
  Files files = store.Exported();
  Files deleted;
  for (auto file = files.begin(); file != files.end();) {
    const auto next = std::next(file);
    if (file->first.starts_with("(deleted)")) deleted.insert(files.extract(file));
    file = next;
  }
  // Files that no row names are a deleted mail's own here.
  Files living = store.Exported("living");
  std::erase_if(living, [](const auto& file) { return file.first.starts_with("(no mail)"); });
  EXPECT_EQ(files, living);
  EXPECT_EQ(deleted.size(), 8U);
  // A mail with a header of its own keeps its bytes.
  EXPECT_EQ(MailWith(deleted, "Subject: mime"),
            "X-Nimport-Recovered: whole\r\nSubject: mime\r\nX: \x01\r\n\r\nbody\r\n");
  EXPECT_THAT(MailWith(deleted, "Date: Mon, 6 Apr 1998 09:00:00 +0900\r\nMIME-Version"),
              StartsWith("X-Nimport-Recovered: whole\r\n"));
  const json again = store.Ask("export", arguments);
  EXPECT_EQ(again["written"], 0);
  EXPECT_EQ(again["alreadyThere"], 10);
}

// A file that another engine wrote, in which rows are deleted both ways.
TEST(DeletedMails, ComeBackFromAnotherEnginesFile) {
  const fs::path sample = fs::path(NIMPORT_SHARED_SAMPLES) / "demo-jet4";
  if (!fs::exists(sample)) GTEST_SKIP() << "no " << sample;
  const TestDirectory directory;
  const fs::path root = directory.path() / "store";
  fs::copy(sample, root, fs::copy_options::recursive);
  const fs::path database = root / "c/NIFTY/Data/Cabdata.mdb";
  const auto whole = ReadWholeFile(database.string());
  const auto run = [&](std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), ToolPath().string());
    for (const std::string& option : {std::string("--from"), (root / "c/NIFTY/Data").string(),
                                      "--drive=C=" + (root / "c").string()})
      arguments.push_back(option);
    return RunProgram(arguments);
  };
  const auto exportTo = [&](const std::string& name) {
    const fs::path target = directory.path() / name;
    run({"export", "--deleted", "--format", "eml", "--to", target.string()});
    Files files = ReadTree(target);
    files.erase("account.json");
    return files;
  };
  // The bytes of mails, wherever they stand, without what tells recovered ones.
  const auto mailsOf = [](const Files& files, bool areDeleted) {
    std::multiset<std::string> mails;
    for (const auto& [path, bytes] : files) {
      if (!path.ends_with(".eml") || path.starts_with("(deleted)") != areDeleted) continue;
      // One of a folder that is not listed was in no export before.
      if (path.find("(folder 9)") != std::string::npos) continue;
      // Rows of kinds that nobody has described do not come back.
      if (path.starts_with("(not listed)")) continue;
      std::string mail = bytes;
      const std::size_t field = mail.find("X-Nimport-Recovered: whole\r\n");
      if (areDeleted && field == std::string::npos) continue;
      if (areDeleted) mail.erase(field, std::string("X-Nimport-Recovered: whole\r\n").size());
      mails.insert(mail);
    }
    return mails;
  };
  const std::multiset<std::string> before = mailsOf(exportTo("before"), false);
  for (const auto form : {jetwriter::DeletedBytes::Stay, jetwriter::DeletedBytes::GoUnder}) {
    SCOPED_TRACE(static_cast<int>(form));
    auto file = whole;
    for (const char* table : {"DataTBL", "EmRcvText", "EmSMail", "EmRcvBin"}) {
      jetwriter::DeleteRows(file, {.table = table,
                                   .column = "DataNo",
                                   .isMeant =
                                       [form](std::int32_t number) {
                                         // Of rows that go under the last ones of a page are left.
                                         const bool isLast =
                                             form == jetwriter::DeletedBytes::GoUnder;
                                         return number % 3 == 0 || (isLast && number > 140);
                                       },
                                   .bytes = form});
    }
    std::ofstream(database, std::ios::binary)
        .write(reinterpret_cast<const char*>(file.data()), std::ssize(file));
    const Files after = exportTo("after" + std::to_string(static_cast<int>(form)));
    const auto living = mailsOf(after, false);
    const auto recovered = mailsOf(after, true);
    EXPECT_TRUE(std::ranges::includes(before, living));
    EXPECT_LT(living.size(), before.size());
    EXPECT_TRUE(std::ranges::includes(before, recovered));
    EXPECT_TRUE(std::ranges::any_of(
        after, [](const auto& mail) { return mail.first.starts_with("(deleted)"); }));
    // Nothing comes back twice, and where the bytes stay everything comes back.
    EXPECT_LE(living.size() + recovered.size(), before.size());
    if (form == jetwriter::DeletedBytes::Stay) {
      EXPECT_EQ(living.size() + recovered.size(), before.size());
    }
    std::cout << before.size() << " mails, " << living.size() << " live, " << recovered.size()
              << " come back whole\n";
  }
}

}  // namespace
}  // namespace nimport::tests
