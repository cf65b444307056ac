// Where mails go, and in which form a file system and a reader want them.
#include <filesystem>
#include <fstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "command/tool.h"

namespace nimport::tests {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;

// A MIME mail that once stood in an mbox, with a CR alone and a NUL, and a text.
constexpr const char* DESCRIPTION = R"({
  "cabinets": [
    {"number": 1, "name": "CON", "folders": [
      {"number": 10, "name": "新着.① & a/b", "mails": [
        {"kind": 34, "title": null, "columns": {}, "mime": {"file": "1.MIM", "base64":
         "RnJvbSBhQGIgVGh1IEphbiAgMSAwMDowMDowMCAxOTk4CkRhdGU6IFRodSwgMSBKYW4gMTk5OCAwMDowMDowMCArMDkwMApTdWJqZWN0OiByYXcKCmENYgBjCkZyb20gbWUKPkZyb20gbWUK"}},
        {"kind": 20, "title": "text", "date": "1999-09-21T20:15:42",
         "columns": {"OriginatorName": "x", "TextData": "a\r\nb\r\n"}}]}]},
    {"number": 2, "name": "x.msf", "folders": [{"number": 20, "name": "2", "mails": []}]}]})";

class ExportPlaces : public testing::Test {
 protected:
  // The names that an export has made, with "..." for what is not the same in every test.
  [[nodiscard]] std::vector<std::string> Names(const std::string& target = "out") const {
    std::vector<std::string> names;
    for (const auto& [name, contents] : store_.Exported(target))
      names.push_back(name);
    return names;
  }
  [[nodiscard]] json ExportWith(std::vector<std::string> more, int exitCode = 0) const {
    more.insert(more.begin(), {"--to", store_.Target().string()});
    return store_.Ask("export", more, exitCode);
  }

  TestStore store_{DESCRIPTION};
};

TEST_F(ExportPlaces, LineEndsAndSeparatorsAreThoseOfTheFormat) {
  const std::string maildir =
      "X-Nimport-From-Line: From a@b Thu Jan  1 00:00:00 1998\n"
      "Date: Thu, 1 Jan 1998 00:00:00 +0900\nSubject: raw\n\na\rb" +
      std::string(1, '\0') + "c\nFrom me\n>From me\n";
  std::string eml;
  for (const char c : maildir)
    eml.append(c == '\n' ? "\r" : "").append(1, c);
  store_.Export("maildir");
  std::vector<std::string> mails;
  for (const auto& [name, contents] : store_.Exported())
    mails.push_back(contents);
  EXPECT_THAT(mails, ElementsAre(maildir, HasSubstr("\n\na\nb\n")));

  store_.Export("mbox", "mbox");
  const std::string mbox = store_.Exported("mbox").begin()->second;
  const std::size_t header = mbox.find('\n') + 1;
  EXPECT_THAT(mbox.substr(header),
              testing::StartsWith("Status: RO\nX-Nimport-From-Line: From a@b"));
  EXPECT_THAT(mbox, HasSubstr("\n>From me\n>>From me\n\nFrom "));
  EXPECT_THAT(mbox, HasSubstr("\n\na\nb\n\n"));

  store_.Export("eml", "eml");
  EXPECT_EQ(store_.Exported("eml").begin()->second, eml);
}

TEST(ExportLineEnds, ThoseOfOldMacintoshesBecomeTheFormats) {
  const TestStore store(R"({"cabinets": [{"number": 1, "name": "c", "folders": [
    {"number": 10, "name": "f", "mails": [{"kind": 34, "title": null, "columns": {},
      "mime": {"file": "1.MIM", "base64": "U3ViamVjdDogcmF3DQ1hDWINDQ=="}}]}]}]})");
  store.Export("eml", "eml");
  EXPECT_EQ(store.Exported("eml").begin()->second, "Subject: raw\r\n\r\na\r\nb\r\n\r\n");
  store.Export("maildir", "maildir");
  EXPECT_EQ(store.Exported("maildir").begin()->second, "Subject: raw\n\na\nb\n\n");
}

TEST_F(ExportPlaces, LayoutsHaveTheNamesOfTheirReaders) {
  const struct {
    const char* layout;
    std::vector<std::string> names;
  } cases[] = {
      {"maildir++", {"._CON.&ZbB3QA-_&JGA- &- a_b/maildirfolder", ".x_msf.2/maildirfolder"}},
      {"thunderbird",
       {"nimport", "nimport.sbd/_CON", "nimport.sbd/_CON.sbd/新着.① & a_b", "nimport.sbd/x.msf_",
        "nimport.sbd/x.msf_.sbd/2"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.layout);
    fs::remove_all(store_.Target());
    EXPECT_EQ(ExportWith({"--layout", c.layout})["written"], 2);
    std::vector<std::string> names;
    for (const std::string& name : Names()) {
      if (name.find("/cur/") == name.npos) names.push_back(name);
    }
    EXPECT_EQ(names, c.names);
    const json again = ExportWith({"--layout", c.layout});
    EXPECT_EQ(again["alreadyThere"], 2);
    EXPECT_TRUE(fs::exists(store_.Target() / again["folders"][0]["path"]));
  }
  EXPECT_TRUE(
      store_.Run("export", {"--to", "x", "--format", "eml", "--layout", "maildir++"}).exitCode ==
      2);
}

TEST_F(ExportPlaces, NamesWithoutColonWhereNoneIsAllowed) {
  const Environment environment = {
      {"LD_PRELOAD", std::string(NIMPORT_BINARY_DIR) + "/lib/libno_colon.so"},
      {"ASAN_OPTIONS", "verify_asan_link_order=0"}};
  const std::vector<std::string> command =
      store_.Command("export", {"--to", store_.Target(), "--json"});
  EXPECT_EQ(json::parse(RunProgram(command, environment).out)["written"], 2);
  EXPECT_THAT(Names(), testing::Each(testing::EndsWith(".nimport;2,S")));
  EXPECT_EQ(json::parse(RunProgram(command, environment).out)["alreadyThere"], 2);
  // On another file system, with the names of that one.
  EXPECT_EQ(ExportWith({})["alreadyThere"], 2);
  store_.Export("maildir", "other");
  EXPECT_THAT(Names("other"), testing::Each(testing::EndsWith(".nimport:2,S")));
}

TEST_F(ExportPlaces, MailsArePrivate) {
  for (const std::vector<std::string>& form :
       std::vector<std::vector<std::string>>{{"--format", "maildir"},
                                             {"--format", "eml"},
                                             {"--layout", "maildir++"},
                                             {"--layout", "thunderbird"}}) {
    SCOPED_TRACE(form[1]);
    fs::remove_all(store_.Target());
    static_cast<void>(ExportWith(form));
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(store_.Target())) {
      const fs::perms wanted = entry.is_directory()
                                   ? fs::perms::owner_all
                                   : fs::perms::owner_read | fs::perms::owner_write;
      EXPECT_EQ(entry.status().permissions(), wanted) << entry.path();
    }
    EXPECT_EQ(fs::status(store_.Target()).permissions(), fs::perms::owner_all);
  }
}

TEST_F(ExportPlaces, AFolderThatCannotBeMadeCostsThatFolder) {
  fs::create_directories(store_.Target());
  std::ofstream(store_.Target() / "_CON") << "somebody's";
  const json account = ExportWith({}, 1);
  ASSERT_GE(account["failures"].size(), 1U);
  EXPECT_THAT(account["failures"].back()["reason"].get<std::string>(), HasSubstr("_CON"));
  EXPECT_TRUE(fs::is_directory(store_.Target() / "x.msf/2/cur"));
  EXPECT_EQ(ReadFile(store_.Target() / "_CON"), "somebody's");
}

}  // namespace
}  // namespace nimport::tests
