#include <algorithm>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "archive/balance.h"
#include "command/tool.h"

namespace nimport::tests {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using testing::HasSubstr;

constexpr std::size_t PAGE_BYTES = 2048;  // Jet 3

void WriteFile(const fs::path& file, const std::string& contents) {
  std::ofstream(file, std::ios::binary | std::ios::trunc) << contents;
}

std::string WithPage(std::string bytes, std::size_t page, char filling = '\0') {
  return bytes.replace(page * PAGE_BYTES, PAGE_BYTES, PAGE_BYTES, filling);
}

// Whatever page is lost: what was written is true, and what was not is told.
TEST(DamagedStore, NothingIsLostInSilence) {
  const TestStore store(R"({"template": {"mails": 12, "cabinets": 1, "folders": 2},
    "cabinets": [{"number": 1, "name": "a", "folders": [{"number": 1, "name": "b", "mails": [
      {"kind": 22, "title": "long", "columns": {"TextData": {"repeat": "長い文。\r\n", "times": 900}}}
    ]}]}]})");
  const fs::path database = store.Database("Cabdata.mdb");
  const std::string sound = ReadFile(database);
  store.Export("maildir", "whole");
  const Files whole = store.Exported("whole");
  ASSERT_EQ(whole.size(), 13U);
  int damagedRuns = 0;
  for (std::size_t page = 1; page * PAGE_BYTES < sound.size(); page += 2) {
    SCOPED_TRACE("page " + std::to_string(page));
    WriteFile(database, WithPage(sound, page));
    fs::remove_all(store.Target());
    const ToolResult result = store.Run("export", {"--to", store.Target(), "--json"});
    ASSERT_TRUE(result.exitCode >= 0 && result.exitCode <= 2) << result.err;
    const bool isWhole = store.Exported() == whole;
    damagedRuns += isWhole ? 0 : 1;
    EXPECT_TRUE(isWhole || result.exitCode != 0) << "a loss that nobody was told of";
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

TEST(DamagedAddressBook, NothingIsLostInSilence) {
  json people = json::array();
  for (int i = 0; i < 200; ++i) {
    people.push_back({{"name", "N" + std::to_string(i)},
                      {"userId", std::to_string(i) + "@example.jp"},
                      {"comment", std::string(40, 'c')}});
  }
  const TestStore store(json{{"addressBook", {{{"name", "G"}, {"members", people}}}}}.dump());
  const fs::path database = store.Database("Abook.mdb");
  const std::string sound = ReadFile(database);
  const std::string whole = store.Run("contacts", {"--csv"}).out;
  ASSERT_EQ(std::ranges::count(whole, '\n'), 201);
  int partialRuns = 0;
  int withoutGroup = 0;
  for (std::size_t page = 1; page * PAGE_BYTES < sound.size(); ++page) {
    SCOPED_TRACE("page " + std::to_string(page));
    WriteFile(database, WithPage(sound, page));
    const ToolResult result = store.Run("contacts", {"--csv"});
    if (result.exitCode == 0) {
      EXPECT_EQ(result.out, whole);
      continue;
    }
    EXPECT_THAT(result.err, testing::AllOf(HasSubstr("Abook.mdb"), HasSubstr("page")));
    partialRuns += result.exitCode == 1 ? 1 : 0;
    std::istringstream rows(result.out);
    for (std::string row; std::getline(rows, row);) {
      // A comment may be lost by itself, and so may the group.
      const std::string person = row.substr(0, row.find(",,") + 2);
      const std::string rest = row.substr(person.size());
      EXPECT_THAT(whole, HasSubstr(person));
      EXPECT_TRUE(whole.find(row) != whole.npos || rest == ",\r" || rest == ",G\r" ||
                  rest == std::string(40, 'c') + ",\r")
          << row;
      withoutGroup += rest.ends_with(",\r") ? 1 : 0;
    }
  }
  EXPECT_GT(partialRuns, 3) << "pages of the table itself";
  EXPECT_GT(withoutGroup, 100) << "from the pages after that of the group's own row";
}

// A sound store too holds mails that no function of the plug-in answers for.
TEST(Balance, EveryRowOfTheListIsFoundOrNamed) {
  const TestStore store(R"({
    "cabinets": [{"number": 1, "name": "a", "folders": [{"number": 1, "name": "b", "mails": [
      {"kind": 22, "title": "listed"}, {"kind": 31, "dataNo": 77}]}]}],
    "folders": [{"number": 90, "cabinet": 99, "mails": [
      {"kind": 22, "dataNo": 901}, {"kind": 22, "dataNo": 903}, {"kind": 22, "dataNo": 902},
      {"kind": 22, "dataNo": 911}]}]})");
  const std::vector<std::string> withoutThem = {"--to", store.Target().string(), "--no-unlisted"};
  const json account = store.Ask("export", withoutThem, 1);
  EXPECT_EQ(account["written"], 1);
  EXPECT_EQ(account["rows"], json::parse(R"({"found": 6, "written": 1, "alreadyThere": 0,
      "skipped": 0, "failed": 0, "notListed": 5})"));
  const std::string strays =
      "folder 90 stands in cabinet 99, which is not listed; mails in it: 4 (DataNo 901-903, 911)";
  EXPECT_EQ(account["unlisted"][0]["reason"], strays);
  EXPECT_EQ(account["leftOut"][0]["reason"],
            "rows of kind 31, which is not handled: 1 (DataNo 77)");
  // Exported, they are no loss; but of DataNo 77 there is nothing but the number.
  const json all = store.Export("maildir", "all", 1);
  const json rows = json::parse(R"({"found": 6, "written": 1, "alreadyThere": 0, "skipped": 4,
                                    "failed": 1, "notListed": 0})");
  EXPECT_EQ(all["rows"], rows);
  EXPECT_EQ(all["unlisted"], json::array());
  ASSERT_EQ(all["failures"].size(), 1U);
  EXPECT_THAT(all["failures"][0]["reason"].get<std::string>(), HasSubstr("DataNo 77"));
  const json check = store.Ask("check", {"--deep"}, 1);
  EXPECT_EQ(check["mail"]["problems"], json::array());
  EXPECT_EQ(check["mail"]["notListed"], 5);
  EXPECT_EQ(check["deep"]["rows"], rows);
}

TEST(Balance, FewerMailsThanRowsAreMissed) {
  store::MailList list;
  list.folders = {{.number = 3, .mailCount = 40}, {.number = 4, .mailCount = 2}};
  const auto missing = [&](std::optional<std::int64_t> found) {
    return archive::FindMissingRows(list, {{"a/b", found}, {"a/c", 2}});
  };
  EXPECT_THAT(missing(40), testing::IsEmpty());
  EXPECT_THAT(missing(std::nullopt), testing::IsEmpty());  // its failure is named
  ASSERT_EQ(missing(0).size(), 1U);
  EXPECT_EQ(missing(0)[0].folder, "a/b");
  EXPECT_EQ(archive::FindMissingRows(list, {}).size(), 1U);
}

// A store of which one page, told by what it holds, is lost at a time.
class LostPage : public testing::Test {
 protected:
  static constexpr std::uint32_t LONG_VALUES = 0x4C41564C;
  static constexpr std::uint32_t USAGE_MAPS = 0;
  static constexpr std::uint32_t OBJECTS = 2;
  static constexpr std::uint32_t QUERIES = 4;

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

  // Exports with these pages of a database overwritten; puts the database back.
  json ExportWithout(const char* database, const std::vector<std::size_t>& pages) {
    const std::string sound = ReadFile(store_.Database(database));
    std::string damaged = sound;
    for (const std::size_t page : pages)
      damaged = WithPage(damaged, page);
    WriteFile(store_.Database(database), damaged);
    fs::remove_all(store_.Target());
    json account = store_.Export("maildir", "out", 1);
    WriteFile(store_.Database(database), sound);
    return account;
  }

  TestStore store_{R"({"template": {"mails": 24, "cabinets": 2, "folders": 4, "addresses": 20,
    "groups": 3, "depth": 2}, "cabinets": [{"number": 9, "name": "a", "folders": [
      {"number": 90, "name": "b", "mails": [{"kind": 22, "title": "long",
       "columns": {"TextData": {"repeat": "長い文。\r\n", "times": 900}}}]}]}]})"};
  const json account_ = store_.Export("maildir", "whole");
  const Files whole_ = store_.Exported("whole");
};

TEST_F(LostPage, CostsNoMoreThanOnlyItKnew) {
  const std::string mails = ReadFile(store_.Database("Cabdata.mdb"));
  const std::string addresses = ReadFile(store_.Database("Abook.mdb"));
  // User tables come in the order of the schema: cabinets, folders.
  std::vector<std::uint32_t> definitions;
  for (std::uint32_t page = 6; page * PAGE_BYTES < mails.size(); ++page) {
    if (mails[page * PAGE_BYTES] == 2) definitions.push_back(page);
  }
  // Pages that the long text fills from their first byte to their last.
  std::vector<std::size_t> ofLongText;
  for (const std::size_t page : PagesOf(mails, LONG_VALUES)) {
    if (mails.find('\0', page * PAGE_BYTES + 32) >= (page + 1) * PAGE_BYTES)
      ofLongText.push_back(page);
  }
  ASSERT_GE(ofLongText.size(), 3U);
  const struct {
    const char* database;
    std::vector<std::size_t> pages;
    std::size_t changed;  // at most so many files
    const char* word;     // of the account
    const char* what;
  } CASES[] = {
      {"Cabdata.mdb", {0}, 0, "", "the header"},
      {"Cabdata.mdb", {2}, 0, "", "the definition of the list of objects"},
      {"Cabdata.mdb", {4}, 0, "", "the definition of the stored queries"},
      {"Cabdata.mdb", PagesOf(mails, USAGE_MAPS), 0, "", "the maps of the tables' pages"},
      {"Cabdata.mdb", PagesOf(mails, OBJECTS), 0, "", "the list of objects"},
      {"Abook.mdb", {0}, 0, "", "the address book's header"},
      {"Abook.mdb", PagesOf(addresses, USAGE_MAPS), 0, "", "its maps"},
      {"Abook.mdb", PagesOf(addresses, OBJECTS), 0, "", "its list of objects"},
      // The query of kind 25 gives its columns names of its own.
      {"Cabdata.mdb", PagesOf(mails, QUERIES), 3, "the stored query is damaged", "the queries"},
      {"Cabdata.mdb", {ofLongText[1]}, 1, "its long value at page", "a piece of the long text"},
      // The mails of folders that are no longer listed stand after all others.
      {"Cabdata.mdb", PagesOf(mails, definitions[0]), 99, "(no cabinet)/", "the cabinets"},
      {"Cabdata.mdb", PagesOf(mails, definitions[1]), 99, "(no cabinet)/", "the folders"},
  };
  for (const auto& lost : CASES) {
    SCOPED_TRACE(lost.what);
    ASSERT_FALSE(lost.pages.empty());
    const json account = ExportWithout(lost.database, lost.pages);
    const Files files = store_.Exported();
    EXPECT_EQ(files.size(), whole_.size());
    std::size_t changed = 0;
    for (const auto& file : whole_)
      changed += std::ranges::find(files, file) == files.end() ? 1 : 0;
    EXPECT_LE(changed, lost.changed);
    EXPECT_EQ(account["written"], account_["written"]);
    EXPECT_FALSE(account["losses"].empty());
    EXPECT_THAT(account.dump(), HasSubstr(lost.word));
    if (lost.changed == 1) {
      ASSERT_EQ(account["losses"].size(), 1U);
      EXPECT_EQ(account["losses"][0]["subject"], "long");
    }
  }
}

TEST_F(LostPage, AddressesSurviveTheMailDatabase) {
  WriteFile(store_.Database("Cabdata.mdb"), "no database");
  EXPECT_EQ(store_.Export("maildir", "out", 1)["failures"][0]["folder"], "(mail database)");
  EXPECT_EQ(store_.Exported().at("contacts.vcf"), whole_.at("contacts.vcf"));
}

TEST_F(LostPage, IsNamedByADeepCheck) {
  const json whole = store_.Ask("check", {"--deep"})["deep"];
  const auto sum = [](const json& counts) {
    std::int64_t total = 0;
    for (const json& count : counts)
      total += count.get<std::int64_t>();
    return total;
  };
  EXPECT_EQ(whole["sound"], true);
  EXPECT_EQ(whole["mails"], json::parse(R"({"found": 25, "readable": 25})"));
  EXPECT_EQ(whole["addresses"], 20);
  EXPECT_EQ(sum(whole["mailsByKind"]), 25);
  ASSERT_EQ(whole["databases"].size(), 2U);
  const std::string sound = ReadFile(store_.Database("Cabdata.mdb"));
  EXPECT_EQ(whole["databases"][0]["pages"], sound.size() / PAGE_BYTES);
  EXPECT_EQ(sum(whole["databases"][0]["pagesByType"]), sound.size() / PAGE_BYTES);

  const std::size_t page = PagesOf(sound, LONG_VALUES).back();
  WriteFile(store_.Database("Cabdata.mdb"), WithPage(sound, page, '\x77'));
  fs::remove(*fs::directory_iterator(store_.store().databaseDirectory / "Mime"));
  const auto before = ReadTree(store_.store().root);
  const json state = store_.Ask("check", {"--deep"}, 1)["deep"];
  EXPECT_EQ(ReadTree(store_.store().root), before) << "nothing is written";
  EXPECT_EQ(state["sound"], false);
  EXPECT_GE(state["databases"][0]["damagedPages"], 1);
  const json& damage = state["databases"][0]["damage"];
  EXPECT_TRUE(std::ranges::any_of(damage, [&](const json& d) { return d["page"] == page; }));
  EXPECT_EQ(state["missingFiles"].size(), 1U);
}

}  // namespace
}  // namespace nimport::tests
