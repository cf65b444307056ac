// nimport contacts and the contacts of an export, on whole stores.
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "command/store.h"
#include "command/tool.h"

namespace nimport::tests {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;

constexpr const char* DESCRIPTION = R"({
  "cabinets": [{"number": 1, "name": "contacts.vcf", "folders": [{"number": 1, "name": "f", "mails": [
    {"kind": 22, "title": "t", "columns": {"ToField": "x@example.jp", "TextData": "x"}}]}]}],
  "addressBook": [
    {"key": 1, "name": "友だち", "members": [
      {"name": "白石 千夏", "userId": "QZH02214", "comment": null},
      {"key": 2, "name": "山", "members": [
        {"name": null, "userId": "m@example.com", "comment": "①"},
        {"key": 1, "name": "輪"}]}]},
    {"key": 9, "name": "空"}]})";

std::size_t Count(const std::string& text, const std::string& word) {
  std::size_t count = 0;
  for (std::size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1))
    ++count;
  return count;
}

TEST(ContactsCommand, KnowsEveryForm) {
  const TestStore store(DESCRIPTION);
  const struct {
    std::vector<std::string> options;
    const char* begin;
    const char* word;
    std::size_t times;
  } cases[] = {
      {{}, "BEGIN:VCARD\r\nVERSION:4.0\r\n", "\r\nCATEGORIES:友だち,山\r\n", 1},
      {{"--vcard", "4.0"}, "BEGIN:VCARD\r\nVERSION:4.0\r\n", "END:VCARD\r\n", 3},
      {{"--vcard", "3.0"}, "BEGIN:VCARD\r\nVERSION:3.0\r\n", "END:VCARD\r\n", 3},
      {{"--csv"}, "Name,E-mail Address,User ID,Notes,Categories\r\n", ",m@example.com,,①,", 1},
      {{"--excel"}, "\xEF\xBB\xBFName,", "白石 千夏,,QZH02214,,友だち", 2},
      {{"--csv", "--excel"}, "\xEF\xBB\xBFName,", "\r\n", 4},
      {{"--ldif"}, "version: 1\n", "objectClass: inetOrgPerson\n", 3},
  };
  for (const auto& c : cases) {
    const ToolResult result = RunProgram(store.Command("contacts", c.options));
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.err, "");
    EXPECT_THAT(result.out, testing::StartsWith(c.begin));
    EXPECT_EQ(Count(result.out, c.word), c.times) << result.out;
  }
  for (const std::vector<std::string>& options :
       std::vector<std::vector<std::string>>{{"--vcard", "2.1"},
                                             {"--csv", "--ldif"},
                                             {"--json", "--csv"},
                                             {"--vcard", "3.0", "--excel"}}) {
    const ToolResult result = RunProgram(store.Command("contacts", options));
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, HasSubstr(options.front()));
  }
}

// The group with the key of a group above it has that group's addresses and ends there.
TEST(ContactsCommand, JsonKeepsTheTree) {
  const TestStore store(DESCRIPTION);
  json book = json::parse(RunProgram(store.Command("contacts", {"--json"})).out);
  const auto address = [](int id, const char* name, const char* userId, const char* comment) {
    return json{{"id", id}, {"name", name}, {"userId", userId}, {"comment", comment}};
  };
  const std::function<void(json&)> dropTheRest = [&](json& group) {
    for (json& entry : group["addresses"]) {
      for (const char* name : {"emails", "memberId", "uid"})
        entry.erase(name);
    }
    for (json& inner : group["groups"])
      dropTheRest(inner);
  };
  for (json& group : book["groups"])
    dropTheRest(group);
  const auto group = [](const char* name, json addresses, json groups) {
    return json{{"name", name}, {"addresses", std::move(addresses)}, {"groups", std::move(groups)}};
  };
  const json none = json::array();
  const json ring = group("輪", json::array({address(2, "白石 千夏", "QZH02214", "")}), none);
  const json hill =
      group("山", json::array({address(1, "", "m@example.com", "①")}), json::array({ring}));
  EXPECT_EQ(book["groups"],
            json::array({group("友だち", json::array({address(0, "白石 千夏", "QZH02214", "")}),
                               json::array({hill})),
                         group("空", none, none)}));
}

// Every form ends, whatever the depth; no reader of JSON has to follow so deep.
TEST(ContactsCommand, GroupsMayBeNestedDeep) {
  json entries = json::array();
  for (int i = 1; i <= 20'000; ++i)
    entries.push_back({{"key", i}, {"parent", i - 1}, {"name", "G" + std::to_string(i)}});
  entries.push_back({{"parent", 20'000}, {"userId", "x@example.jp"}});
  const TestStore store(json{{"addressBook", entries}}.dump());
  for (const char* form : {"--csv", "--ldif", "--json"}) {
    const ToolResult result = RunProgram(store.Command("contacts", {form}));
    EXPECT_EQ(result.exitCode, 0) << form << result.err.substr(0, 200);
    EXPECT_THAT(result.out, HasSubstr("x@example.jp"));
    EXPECT_LT(result.out.size(), 4'000'000U) << form;
  }
  EXPECT_EQ(RunProgram(store.Command("check")).exitCode, 0);
}

// In no group, in one that is not there and in one beneath it; none of them has a name to show.
constexpr const char* STRAYS = R"({"addressBook": [
  {"key": 1, "name": "友だち", "members": [{"userId": "a@example.jp"}]},
  {"userId": "top@example.jp"},
  {"parent": 99, "userId": "lost@example.jp"},
  {"key": 5, "parent": 99, "name": "山", "members": [{"userId": "deep@example.jp"}]}]})";

TEST(ContactsCommand, AddressesInNoGroupComeLast) {
  const TestStore store(STRAYS);
  const struct {
    const char* form;
    std::vector<const char*> wanted;
  } cases[] = {
      {"--csv",
       {"\r\n,a@example.jp,,,友だち\r\n,top@example.jp,,,\r\n,lost@example.jp,,,\r\n"
        ",deep@example.jp,,,山\r\n"}},
      {"--vcard=4.0",
       {"EMAIL:a@example.jp\r\nCATEGORIES:友だち\r\nEND", "EMAIL:top@example.jp\r\nEND",
        "EMAIL:lost@example.jp\r\nEND", "EMAIL:deep@example.jp\r\nCATEGORIES:山\r\nEND"}},
      {"--ldif", {"mail: top@example.jp\n", "cn: group-2\n", "mail: lost@example.jp\n"}},
  };
  for (const auto& c : cases) {
    const ToolResult result = RunProgram(store.Command("contacts", {c.form}));
    EXPECT_EQ(result.exitCode, 0) << c.form;
    EXPECT_EQ(result.err, "") << c.form;
    for (const char* wanted : c.wanted)
      EXPECT_THAT(result.out, HasSubstr(wanted)) << c.form;
  }
  const json book = json::parse(RunProgram(store.Command("contacts", {"--json"})).out);
  ASSERT_EQ(book["groups"].size(), 3U);
  EXPECT_EQ(book["groups"][0]["name"], "友だち");
  EXPECT_EQ(book["groups"][1]["name"], "");
  EXPECT_EQ(book["groups"][2]["groups"][0]["name"], "山");
}

struct BadBook {
  const char* why;
  const char* description;
  int exitCode;
  const char* message;  // on standard error
  const char* contact;  // still written
};

TEST(ContactsCommand, SaysWhatIsWrongWithTheBook) {
  const BadBook cases[] = {
      {"an empty table", R"j({"addressBook": []})j", 0, "", ""},
      {"an address without an ID",
       R"j({"addressBook": [{"key": 5, "name": "G", "members": [
           {"key": 7, "type": 2, "name": "lost"}, {"name": "found", "userId": "f@example.jp"}]}]})j",
       1, "an address without a UserID, where KeyNo is 7 and ParentKeyNo 5", "FN:lost"},
      {"a group without a name",
       R"j({"addressBook": [{"key": 5, "members": [{"userId": "f@example.jp"}]}]})j", 1,
       "a group without a Name, where KeyNo is 5 and ParentKeyNo 0", "FN:f@example.jp"},
      {"a column is missing",
       R"j({"addressBook": [{"name": "G", "members": [{"userId": "f@example.jp"}]}],
           "tables": {"AddressBookTBL": {"columns": ["KeyNo Long", "ParentKeyNo Long", "Type Byte",
                                                     "Name Text(64)", "UserID Text(64)"]}}})j",
       2, "no column Comment", ""},
      {"text longer than any field",
       R"j({"addressBook": [{"name": "G", "members": [
           {"name": "x", "userId": "f@example.jp", "comment": {"repeat": "長", "times": 3000}}]}],
           "tables": {"AddressBookTBL": {"columns": ["KeyNo Long", "ParentKeyNo Long", "Type Byte",
                                         "Name Memo", "UserID Memo", "Comment Memo"]}}})j",
       0, "", "FN:x"},
      {"a row of another kind",
       R"j({"addressBook": [{"name": "G"}, {"userId": "top@example.jp"}, {"type": 1, "name": "t"}]})j",
       0, "1 rows of other kinds than groups and addresses are left out", "FN:top@example.jp"},
  };
  for (const BadBook& c : cases) {
    const TestStore store(c.description);
    const ToolResult result = RunProgram(store.Command("contacts"));
    EXPECT_EQ(result.exitCode, c.exitCode) << c.why << ": " << result.err;
    EXPECT_THAT(result.err, HasSubstr(c.message)) << c.why;
    if (*c.message != '\0') {
      EXPECT_THAT(result.err, AllOf(HasSubstr("Abook.mdb"), HasSubstr("AddressBookTBL"))) << c.why;
    } else {
      EXPECT_EQ(result.err, "") << c.why;
    }
    EXPECT_THAT(result.out, HasSubstr(c.contact)) << c.why;
  }
  const TestStore store(DESCRIPTION);
  fs::remove(store.store().databaseDirectory / "Abook.mdb");
  const ToolResult result = RunProgram(store.Command("contacts"));
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_THAT(result.err, HasSubstr("Abook.mdb"));
}

// Whatever page is lost: what is written is true, and what is missing is told.
TEST(ContactsCommand, NothingIsLostInSilence) {
  constexpr std::size_t PAGE_BYTES = 2048;  // Jet 3
  json people = json::array();
  for (int i = 0; i < 200; ++i) {
    people.push_back({{"name", "N" + std::to_string(i)},
                      {"userId", std::to_string(i) + "@example.jp"},
                      {"comment", std::string(40, 'c')}});
  }
  const TestStore store(json{{"addressBook", {{{"name", "G"}, {"members", people}}}}}.dump());
  const fs::path database = store.store().databaseDirectory / "Abook.mdb";
  const std::string sound = ReadTree(database.parent_path()).at("Abook.mdb");
  const std::string whole = RunProgram(store.Command("contacts", {"--csv"})).out;
  ASSERT_EQ(Count(whole, "\r\n"), 201U);
  int partialRuns = 0;
  int withoutGroup = 0;
  for (std::size_t page = 1; page * PAGE_BYTES < sound.size(); ++page) {
    SCOPED_TRACE("page " + std::to_string(page));
    std::string damaged = sound;
    damaged.replace(page * PAGE_BYTES, PAGE_BYTES, PAGE_BYTES, '\0');
    std::ofstream(database, std::ios::binary | std::ios::trunc) << damaged;
    const ToolResult result = RunProgram(store.Command("contacts", {"--csv"}));
    if (result.exitCode == 0) {
      EXPECT_EQ(result.out, whole);
      continue;
    }
    EXPECT_THAT(result.err, AllOf(HasSubstr("Abook.mdb"), HasSubstr("page"))) << result.exitCode;
    if (result.exitCode == 1) ++partialRuns;
    std::istringstream rows(result.out);
    for (std::string row; std::getline(rows, row);) {
      // A comment may be lost by itself, and so may the group.
      const std::string person = row.substr(0, row.find(",,") + 1);
      const bool isInGroup = row.ends_with(",G\r");
      const std::string inGroup = isInGroup ? row : row.substr(0, row.size() - 1) + "G\r";
      EXPECT_TRUE(whole.find(row) != std::string::npos || inGroup == person + ",,G\r" ||
                  whole.find(inGroup) != std::string::npos)
          << row;
      EXPECT_NE(whole.find(person), std::string::npos) << row;
      if (!isInGroup && !person.empty()) ++withoutGroup;
    }
  }
  EXPECT_GT(partialRuns, 3) << "pages of the table itself";
  EXPECT_GT(withoutGroup, 100) << "from the pages behind that of the group's own row";
}

class ExportOfContacts : public testing::Test {
 protected:
  ToolResult ExportTo(const TestStore& store, const std::string& target) {
    return RunProgram(
        store.Command("export", {"--to", (directory_.path() / target).string(), "--json"}));
  }
  [[nodiscard]] std::string ContactsIn(const std::string& target) const {
    auto files = ReadTree(directory_.path() / target);
    return files.contains("contacts.vcf") ? files["contacts.vcf"] : "(none)";
  }

  TestDirectory directory_;
};

TEST_F(ExportOfContacts, StandBesideTheMails) {
  const TestStore store(DESCRIPTION);
  const std::string wanted = RunProgram(store.Command("contacts")).out;
  for (const char* run : {"first", "again"}) {
    const ToolResult result = ExportTo(store, "out");
    EXPECT_EQ(result.exitCode, 0) << result.err;
    const json account = json::parse(result.out);
    EXPECT_EQ(account["contacts"], json::parse(R"({"path": "contacts.vcf", "written": 3})")) << run;
    EXPECT_EQ(account["found"], 1);
    EXPECT_EQ(ContactsIn("out"), wanted) << run;
  }
  EXPECT_TRUE(fs::is_directory(directory_.path() / "out" / "contacts.vcf (2)"))
      << "the cabinet of that name";
}

TEST_F(ExportOfContacts, AreNoFileWhereThereAreNone) {
  const TestStore store(R"({"addressBook": [{"name": "G"}]})");
  const ToolResult result = ExportTo(store, "out");
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_FALSE(json::parse(result.out).contains("contacts"));
  EXPECT_EQ(ContactsIn("out"), "(none)");
}

TEST_F(ExportOfContacts, HoldAddressesInNoGroup) {
  const TestStore store(STRAYS);
  const ToolResult result = ExportTo(store, "out");
  EXPECT_EQ(result.exitCode, 0) << result.err;
  const json account = json::parse(result.out);
  EXPECT_EQ(account["contacts"]["written"], 4);
  EXPECT_EQ(account["leftOut"], json::array());
  EXPECT_EQ(ContactsIn("out"), RunProgram(store.Command("contacts")).out);
}

TEST_F(ExportOfContacts, FailWithoutTheMails) {
  const TestStore store(DESCRIPTION);
  EXPECT_EQ(ExportTo(store, "out").exitCode, 0);
  const std::string before = ContactsIn("out");
  fs::resize_file(store.store().databaseDirectory / "Abook.mdb", 100);
  const ToolResult result = ExportTo(store, "out");
  EXPECT_EQ(result.exitCode, 1);
  const json account = json::parse(result.out);
  EXPECT_EQ(account["found"], 1);
  EXPECT_EQ(account["failures"][0]["folder"], "(address book)");
  EXPECT_THAT(account["failures"][0]["reason"].get<std::string>(), HasSubstr("Abook.mdb"));
  EXPECT_EQ(ContactsIn("out"), before) << "what is there stays until it can be replaced";
}

}  // namespace
}  // namespace nimport::tests
