#include <algorithm>
#include <cstring>
#include <fstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "archive/balance.h"
#include "command/store.h"
#include "command/tool.h"

namespace nimport::tests {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

constexpr std::size_t PAGE_BYTES = 2048;  // Jet 3

// Export files by name, without the account.
std::map<std::string, std::string> Mails(const fs::path& directory) {
  auto files = ReadTree(directory);
  files.erase("account.json");
  return files;
}

// Whatever page is lost: what was written is true, and what was not is told.
TEST(DamagedStore, NothingIsLostInSilence) {
  const TestStore store(R"({"template": {"mails": 12, "cabinets": 1, "folders": 2},
    "cabinets": [{"number": 1, "name": "a", "folders": [{"number": 1, "name": "b", "mails": [
      {"kind": 22, "title": "long", "columns": {"TextData": {"repeat": "長い文。\r\n", "times": 900}}}
    ]}]}]})");
  const fs::path database = store.store().databaseDirectory / "Cabdata.mdb";
  const std::string sound = ReadTree(database.parent_path()).at("Cabdata.mdb");
  const fs::path root = store.directory().path();
  const auto exportTo = [&](const std::string& target) {
    return RunProgram(store.Command("export", {"--to", (root / target).string(), "--json"}));
  };
  ASSERT_EQ(exportTo("whole").exitCode, 0);
  const auto whole = Mails(root / "whole");
  ASSERT_EQ(whole.size(), 13U);

  int damagedRuns = 0;
  for (std::size_t page = 1; page * PAGE_BYTES < sound.size(); page += 2) {
    SCOPED_TRACE("page " + std::to_string(page));
    std::string damaged = sound;
    damaged.replace(page * PAGE_BYTES, PAGE_BYTES, PAGE_BYTES, '\0');
    std::ofstream(database, std::ios::binary | std::ios::trunc) << damaged;
    const std::string target = "page" + std::to_string(page);
    const ToolResult result = exportTo(target);
    ASSERT_TRUE(result.exitCode >= 0 && result.exitCode <= 2) << result.err;
    const auto mails = Mails(root / target);
    if (mails != whole) ++damagedRuns;
    if (result.exitCode == 0) {
      EXPECT_EQ(mails, whole) << "a loss that nobody was told of";
    }
    if (result.exitCode == 2) {
      EXPECT_NE(result.err, "");
      continue;
    }
    const json account = json::parse(result.out);
    EXPECT_EQ(account["found"], account["written"].get<int>() + account["skipped"].get<int>() +
                                    account["failed"].get<int>());
  }
  EXPECT_GT(damagedRuns, 0);
}

// A sound store too holds mails that no function of the plug-in answers for.
TEST(Balance, EveryRowOfTheListIsFoundOrNamed) {
  const TestStore store(R"({
    "cabinets": [{"number": 1, "name": "a", "folders": [{"number": 1, "name": "b", "mails": [
      {"kind": 22, "title": "listed"}, {"kind": 31, "dataNo": 77}]}]}],
    "folders": [{"number": 90, "cabinet": 99, "mails": [
      {"kind": 22, "dataNo": 901}, {"kind": 22, "dataNo": 903}, {"kind": 22, "dataNo": 902},
      {"kind": 22, "dataNo": 911}]}]})");
  const std::string target = (store.directory().path() / "out").string();
  const ToolResult result = RunProgram(store.Command("export", {"--to", target, "--json"}));
  EXPECT_EQ(result.exitCode, 1);
  const json account = json::parse(result.out);
  EXPECT_EQ(account["written"], 1);
  const std::string strays =
      "folder 90 stands in cabinet 99, which is not listed; mails in it: 4 (DataNo 901-903, 911)";
  EXPECT_EQ(account["unlisted"][0]["reason"], strays);
  EXPECT_EQ(account["leftOut"][0]["reason"],
            "rows of kind 31, which is not handled: 1 (DataNo 77)");
  const ToolResult check = RunProgram(store.Command("check", {"--deep", "--json"}));
  EXPECT_EQ(check.exitCode, 1);
  EXPECT_EQ(json::parse(check.out)["mail"]["problems"][0], "(list of mails): " + strays);
  EXPECT_EQ(json::parse(check.out)["deep"]["sound"], false);
}

TEST(Balance, FewerMailsThanRowsAreMissed) {
  store::MailList list;
  list.folders = {{.number = 3, .mailCount = 40}, {.number = 4, .mailCount = 2}};
  const auto missing = [&](std::optional<std::int64_t> found) {
    return archive::MakeBalance(list, {{"a/b", found}, {"a/c", 2}}).missing;
  };
  EXPECT_THAT(missing(40), testing::IsEmpty());
  EXPECT_THAT(missing(std::nullopt), testing::IsEmpty());  // its failure is named
  ASSERT_EQ(missing(0).size(), 1U);
  EXPECT_EQ(missing(0)[0].folder, "a/b");
  EXPECT_EQ(archive::MakeBalance(list, {}).missing.size(), 1U);
}

// A store of which one page, told by what it holds, is lost at a time.
class LostPage : public testing::Test {
 protected:
  static constexpr std::uint32_t LONG_VALUES = 0x4C41564C;
  static constexpr std::uint32_t USAGE_MAPS = 0;
  static constexpr std::uint32_t OBJECTS = 2;
  static constexpr std::uint32_t QUERIES = 4;

  [[nodiscard]] fs::path Database(const char* name) const {
    return store_.store().databaseDirectory / name;
  }

  // Numbers of the data pages with this owner.
  [[nodiscard]] static std::vector<std::size_t> PagesOf(const std::string& bytes,
                                                        std::uint32_t owner) {
    std::vector<std::size_t> pages;
    for (std::size_t page = 1; page * PAGE_BYTES < bytes.size(); ++page) {
      std::uint32_t stored = 0;
      std::memcpy(&stored, bytes.data() + page * PAGE_BYTES + 4, sizeof stored);
      if (bytes[page * PAGE_BYTES] == 1 && stored == owner) pages.push_back(page);
    }
    return pages;
  }

  json Export(const std::string& target, int exitCode) {
    const std::string path = (store_.directory().path() / target).string();
    const ToolResult result = RunProgram(store_.Command("export", {"--to", path, "--json"}));
    EXPECT_EQ(result.exitCode, exitCode) << result.err;
    files_ = Mails(path);
    return json::parse(result.out);
  }

  // Exports with these pages of a database overwritten; puts the database back.
  json ExportWithout(const char* database, const std::vector<std::size_t>& pages) {
    const std::string sound = ReadTree(Database(database).parent_path()).at(database);
    std::string damaged = sound;
    for (const std::size_t page : pages)
      damaged.replace(page * PAGE_BYTES, PAGE_BYTES, PAGE_BYTES, '\0');
    std::ofstream(Database(database), std::ios::binary | std::ios::trunc) << damaged;
    json account = Export("damaged" + std::to_string(++runs_), 1);
    std::ofstream(Database(database), std::ios::binary | std::ios::trunc) << sound;
    return account;
  }

  [[nodiscard]] std::string Bytes(const char* database) const {
    return ReadTree(Database(database).parent_path()).at(database);
  }

  TestStore store_{R"({"template": {"mails": 24, "cabinets": 2, "folders": 4, "addresses": 20,
    "groups": 3, "depth": 2}, "cabinets": [{"number": 9, "name": "a", "folders": [
      {"number": 90, "name": "b", "mails": [{"kind": 22, "title": "long",
       "columns": {"TextData": {"repeat": "長い文。\r\n", "times": 900}}}]}]}]})"};
  std::map<std::string, std::string> files_;  // of the last export, without the account
  int runs_ = 0;
};

TEST_F(LostPage, CostsNothingWhereItCanBeDoneWithout) {
  Export("whole", 0);
  const auto whole = files_;
  const std::string mails = Bytes("Cabdata.mdb");
  const std::string addresses = Bytes("Abook.mdb");
  const struct {
    const char* database;
    std::vector<std::size_t> pages;
    const char* what;
  } CASES[] = {{"Cabdata.mdb", {0}, "the header"},
               {"Cabdata.mdb", {1}, "the map of free pages"},
               {"Cabdata.mdb", {2}, "the definition of the list of objects"},
               {"Cabdata.mdb", {4}, "the definition of the stored queries"},
               {"Cabdata.mdb", PagesOf(mails, USAGE_MAPS), "the maps of the tables' pages"},
               {"Cabdata.mdb", PagesOf(mails, OBJECTS), "the list of objects"},
               {"Abook.mdb", {0}, "the address book's header"},
               {"Abook.mdb", PagesOf(addresses, USAGE_MAPS), "its maps"},
               {"Abook.mdb", PagesOf(addresses, OBJECTS), "its list of objects"}};
  for (const auto& lost : CASES) {
    SCOPED_TRACE(lost.what);
    ASSERT_FALSE(lost.pages.empty());
    if (lost.pages == std::vector<std::size_t>{1}) continue;  // nothing needs it: no word of it
    const json account = ExportWithout(lost.database, lost.pages);
    EXPECT_EQ(files_, whole);
    EXPECT_FALSE(account["losses"].empty());
  }
}

TEST_F(LostPage, OfStoredQueriesCostsWhatOnlyTheyKnow) {
  Export("whole", 0);
  const auto whole = files_;
  const json account = ExportWithout("Cabdata.mdb", PagesOf(Bytes("Cabdata.mdb"), QUERIES));
  // The query of kind 25 gives its columns names of its own.
  std::size_t same = 0;
  for (const auto& [name, contents] : files_)
    same += whole.contains(name) && whole.at(name) == contents ? 1 : 0;
  EXPECT_GE(same + 3, whole.size());
  EXPECT_THAT(account["losses"].dump(), testing::HasSubstr("the stored query is damaged"));
}

TEST_F(LostPage, OfALongValueCostsTheRestOfThatText) {
  const auto whole = Export("whole", 0);
  const std::size_t count = files_.size();
  // Pages that the long text fills from their first byte to their last.
  const std::string database = Bytes("Cabdata.mdb");
  std::vector<std::size_t> parts;
  for (const std::size_t page : PagesOf(database, LONG_VALUES)) {
    const std::string rows = database.substr(page * PAGE_BYTES + 32, PAGE_BYTES - 32);
    if (rows.find('\0') == std::string::npos) parts.push_back(page);
  }
  ASSERT_GE(parts.size(), 3U);
  const json account = ExportWithout("Cabdata.mdb", {parts[1]});
  EXPECT_EQ(files_.size(), count);
  EXPECT_EQ(account["written"], whole["written"]);
  ASSERT_EQ(account["losses"].size(), 1U);
  EXPECT_EQ(account["losses"][0]["subject"], "long");
  EXPECT_THAT(account["losses"][0]["reason"].get<std::string>(),
              testing::HasSubstr("its long value at page"));
}

// The mails of folders that are no longer listed stand after all others.
TEST_F(LostPage, OfFoldersCostsTheirNamesAlone) {
  const json whole = Export("whole", 0);
  const std::string mails = Bytes("Cabdata.mdb");
  // User tables come in the order of the schema: cabinets, folders.
  std::vector<std::uint32_t> definitions;
  for (std::uint32_t page = 6; page * PAGE_BYTES < mails.size(); ++page) {
    if (mails[page * PAGE_BYTES] == 2) definitions.push_back(page);
  }
  for (const std::size_t table : {0U, 1U}) {
    const json account = ExportWithout("Cabdata.mdb", PagesOf(mails, definitions[table]));
    EXPECT_EQ(account["written"], whole["written"]);
    EXPECT_THAT(account["folders"].back()["folder"].get<std::string>(),
                testing::StartsWith("(no cabinet)/"));
  }
}

TEST_F(LostPage, AddressesSurviveTheMailDatabase) {
  Export("whole", 0);
  const std::string contacts = files_.at("contacts.vcf");
  const std::string sound = Bytes("Cabdata.mdb");
  std::ofstream(Database("Cabdata.mdb"), std::ios::binary | std::ios::trunc) << "no database";
  const json account = Export("damaged", 1);
  EXPECT_EQ(files_.at("contacts.vcf"), contacts);
  EXPECT_EQ(account["failures"][0]["folder"], "(mail database)");
}

TEST_F(LostPage, IsNamedByADeepCheck) {
  const auto check = [&](int exitCode) {
    const ToolResult result = RunProgram(store_.Command("check", {"--deep", "--json"}));
    EXPECT_EQ(result.exitCode, exitCode) << result.out << result.err;
    return json::parse(result.out)["deep"];
  };
  const json whole = check(0);
  EXPECT_EQ(whole["sound"], true);
  EXPECT_EQ(whole["mails"], json::parse(R"({"found": 25, "readable": 25})"));
  EXPECT_EQ(whole["addresses"], 20);
  std::int64_t mailsOfAllKinds = 0;
  for (const json& count : whole["mailsByKind"])
    mailsOfAllKinds += count.get<std::int64_t>();
  EXPECT_EQ(mailsOfAllKinds, 25);
  ASSERT_EQ(whole["databases"].size(), 2U);
  std::int64_t pages = 0;
  for (const json& count : whole["databases"][0]["pagesByType"])
    pages += count.get<std::int64_t>();
  EXPECT_EQ(pages, whole["databases"][0]["pages"]);
  EXPECT_EQ(pages * PAGE_BYTES, Bytes("Cabdata.mdb").size());

  const std::string sound = Bytes("Cabdata.mdb");
  const std::size_t page = PagesOf(sound, LONG_VALUES).back();
  std::string damaged = sound;
  damaged.replace(page * PAGE_BYTES, PAGE_BYTES, PAGE_BYTES, '\x77');
  std::ofstream(Database("Cabdata.mdb"), std::ios::binary | std::ios::trunc) << damaged;
  fs::remove(*fs::directory_iterator(store_.store().databaseDirectory / "Mime"));
  const auto before = ReadTree(store_.store().root);
  const json state = check(1);
  EXPECT_EQ(ReadTree(store_.store().root), before) << "nothing is written";
  EXPECT_EQ(state["sound"], false);
  EXPECT_GE(state["databases"][0]["damagedPages"], 1);
  const json& damage = state["databases"][0]["damage"];
  EXPECT_TRUE(std::ranges::any_of(damage, [&](const json& d) { return d["page"] == page; }));
  EXPECT_EQ(state["missingFiles"].size(), 1U);
}

}  // namespace
}  // namespace nimport::tests
