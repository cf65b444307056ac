// nimport contacts and the contacts of an export, on whole stores.
#include <filesystem>
#include <functional>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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
      {"name": "\"", "userId": "a@example.jp", "comment": "1\r\n"},
      {"key": 2, "name": "山", "members": [
        {"name": null, "userId": "m@example.com", "comment": "①"},
        {"key": 1, "name": "輪"}]},
      {"key": 3, "name": "空"}]},
    {"key": 9, "name": "空"}]})";

// In no group, in one that is not there and in one beneath it; none of them has a name to show.
constexpr const char* STRAYS = R"({"addressBook": [
  {"key": 1, "name": "友だち", "members": [{"userId": "a@example.jp"}]},
  {"userId": "top@example.jp"},
  {"parent": 99, "userId": "lost@example.jp"},
  {"key": 5, "parent": 99, "name": "山", "members": [{"userId": "deep@example.jp"}]}]})";

std::size_t Count(const std::string& text, const std::string& word) {
  std::size_t count = 0;
  for (std::size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1))
    ++count;
  return count;
}

TEST(ContactsCommand, KnowsEveryForm) {
  const TestStore book(DESCRIPTION);
  const TestStore strays(STRAYS);
  const struct {
    const TestStore& store;
    std::vector<std::string> options;
    const char* begin;
    const char* word;
    std::size_t times;
  } cases[] = {
      {book, {}, "BEGIN:VCARD\r\nVERSION:4.0\r\n", "\r\nCATEGORIES:友だち,山\r\n", 1},
      {book, {"--vcard", "4.0"}, "BEGIN:VCARD\r\nVERSION:4.0\r\n", "END:VCARD\r\n", 5},
      {book, {"--vcard", "3.0"}, "BEGIN:VCARD\r\nVERSION:3.0\r\n", "END:VCARD\r\n", 5},
      {book,
       {"--csv"},
       "Name,E-mail Address,User ID,Notes,Categories\r\n",
       ",m@example.com,,①,",
       1},
      {book, {"--excel"}, "\xEF\xBB\xBFName,", "白石 千夏,,QZH02214,,友だち", 2},
      {book, {"--csv", "--excel"}, "\xEF\xBB\xBFName,", "\r\n", 8},
      {book, {"--ldif"}, "version: 1\n", "objectClass: inetOrgPerson\n", 5},
      {strays,
       {"--csv"},
       "Name,",
       "\r\n,a@example.jp,,,友だち\r\n,top@example.jp,,,\r\n,lost@example.jp,,,\r\n"
       ",deep@example.jp,,,山\r\n",
       1},
      {strays, {"--vcard=4.0"}, "BEGIN", "EMAIL:top@example.jp\r\nEND", 1},
      {strays, {"--ldif"}, "version", "cn: group-2\n", 1},
  };
  for (const auto& c : cases) {
    const ToolResult result = c.store.Run("contacts", c.options);
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
    const ToolResult result = book.Run("contacts", options);
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.out.empty(), options.front() != "--json") << result.out;
    EXPECT_THAT(result.err, HasSubstr(options.front()));
  }
}

// The group with the key of a group above it has that group's addresses and ends there. What
// belongs to no group comes last.
TEST(ContactsCommand, JsonKeepsTheTree) {
  json book = TestStore(DESCRIPTION).Ask("contacts");
  const std::function<void(json&)> dropUids = [&](json& group) {
    for (json& entry : group["addresses"])
      EXPECT_EQ(entry.erase("uid"), 1U);
    for (json& inner : group["groups"])
      dropUids(inner);
  };
  for (json& group : book["groups"])
    dropUids(group);
  EXPECT_EQ(book["groups"], json::parse(R"([
    {"name": "友だち",
     "addresses": [{"id": 0, "name": "白石 千夏", "userId": "QZH02214", "comment": "",
                    "emails": [], "memberId": "QZH02214"},
                   {"id": 1, "name": "\"", "userId": "a@example.jp", "comment": "1\r\n",
                    "emails": ["a@example.jp"]}],
     "groups": [{"name": "山",
       "addresses": [{"id": 2, "name": "", "userId": "m@example.com", "comment": "①",
                      "emails": ["m@example.com"]}],
       "groups": [{"name": "輪",
         "addresses": [{"id": 3, "name": "白石 千夏", "userId": "QZH02214", "comment": "",
                        "emails": [], "memberId": "QZH02214"},
                       {"id": 4, "name": "\"", "userId": "a@example.jp", "comment": "1\r\n",
                        "emails": ["a@example.jp"]}], "groups": []}]},
       {"name": "空", "addresses": [], "groups": []}]},
    {"name": "空", "addresses": [], "groups": []}])"));
  const json strays = TestStore(STRAYS).Ask("contacts")["groups"];
  EXPECT_EQ(strays.size(), 3U);
  EXPECT_EQ(strays.at(json::json_pointer("/0/name")), "友だち");
  EXPECT_EQ(strays.at(json::json_pointer("/1/name")), "");
  EXPECT_EQ(strays.at(json::json_pointer("/2/groups/0/name")), "山");
}

// Every form ends, whatever the depth; no reader of JSON has to follow so deep.
TEST(ContactsCommand, GroupsMayBeNestedDeep) {
  json entries = json::array();
  for (int i = 1; i <= 20'000; ++i)
    entries.push_back({{"key", i}, {"parent", i - 1}, {"name", "G" + std::to_string(i)}});
  entries.push_back({{"parent", 20'000}, {"userId", "x@example.jp"}});
  const TestStore store(json{{"addressBook", entries}}.dump());
  for (const char* form : {"--csv", "--ldif", "--json"}) {
    const ToolResult result = store.Run("contacts", {form});
    EXPECT_EQ(result.exitCode, 0) << form << result.err.substr(0, 200);
    EXPECT_THAT(result.out, HasSubstr("x@example.jp"));
    EXPECT_LT(result.out.size(), 4'000'000U) << form;
  }
  EXPECT_EQ(store.Run("check").exitCode, 0);
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
    const ToolResult result = TestStore(c.description).Run("contacts");
    EXPECT_EQ(result.exitCode, c.exitCode) << c.why << ": " << result.err;
    if (*c.message != '\0') {
      EXPECT_THAT(result.err,
                  AllOf(HasSubstr(c.message), HasSubstr("Abook.mdb"), HasSubstr("AddressBookTBL")))
          << c.why;
    } else {
      EXPECT_EQ(result.err, "") << c.why;
    }
    EXPECT_THAT(result.out, HasSubstr(c.contact)) << c.why;
  }
}

TEST(ExportOfContacts, StandBesideTheMails) {
  const TestStore store(DESCRIPTION);
  const std::string wanted = store.Run("contacts").out;
  for (const char* run : {"first", "again"}) {
    const json account = store.Export();
    EXPECT_EQ(account["contacts"], json::parse(R"({"path": "contacts.vcf", "written": 5})")) << run;
    EXPECT_EQ(account["found"], 1);
    EXPECT_EQ(store.Exported().at("contacts.vcf"), wanted) << run;
  }
  EXPECT_TRUE(fs::is_directory(store.Target() / "contacts.vcf (2)")) << "the cabinet of that name";

  const std::string theirs = "BEGIN:VCARD\r\nPRODID:-//else//EN\r\nEND:VCARD\r\n" + wanted;
  std::ofstream(store.Target() / "contacts.vcf", std::ios::binary) << theirs;
  for (const char* run : {"first", "again"}) {
    const json account = store.Export();
    EXPECT_EQ(account["contacts"]["path"], "contacts (nimport).vcf") << run;
    EXPECT_THAT(account["notes"].dump(), HasSubstr("contacts.vcf was not made by nimport"));
    EXPECT_EQ(store.Exported().at("contacts.vcf"), theirs) << run;
    EXPECT_EQ(store.Exported().at("contacts (nimport).vcf"), wanted) << run;
  }
  std::ofstream(store.Target() / "contacts.vcf", std::ios::trunc) << std::flush;
  store.Export();

  // Nothing but the address book is damaged, then missing.
  fs::resize_file(store.Database("Abook.mdb"), 100);
  const json account = store.Export("maildir", "out", 1);
  EXPECT_EQ(account["found"], 1);
  EXPECT_EQ(account["failures"][0]["folder"], "(address book)");
  EXPECT_THAT(account["failures"][0]["reason"].get<std::string>(), HasSubstr("Abook.mdb"));
  EXPECT_EQ(store.Exported().at("contacts.vcf"), wanted) << "it stays until it can be replaced";
  fs::remove(store.Database("Abook.mdb"));
  const ToolResult result = store.Run("contacts");
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_THAT(result.err, HasSubstr("Abook.mdb"));
}

TEST(ExportOfContacts, HoldsStraysAndIsNoFileWhereThereIsNone) {
  const TestStore strays(STRAYS);
  const json account = strays.Export();
  EXPECT_EQ(account["contacts"]["written"], 4);
  EXPECT_EQ(account["leftOut"], json::array());
  EXPECT_EQ(strays.Exported().at("contacts.vcf"), strays.Run("contacts").out);
  const TestStore none(R"({"addressBook": [{"name": "G"}]})");
  EXPECT_FALSE(none.Export().contains("contacts"));
  EXPECT_FALSE(none.Exported().contains("contacts.vcf"));
}

}  // namespace
}  // namespace nimport::tests
