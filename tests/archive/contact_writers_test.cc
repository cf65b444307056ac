// Escaping, folding and encoding of contacts, form by form. What other parsers make of them is
// tests/contacts_second_opinion.
#include <algorithm>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "archive/contacts/contacts_json.h"
#include "archive/contacts/csv.h"
#include "archive/contacts/ldif.h"
#include "archive/contacts/vcard.h"

namespace nimport::archive {
namespace {

using testing::HasSubstr;

const std::vector<std::string> NO_GROUPS;

Contact MakeContact(const std::string& name, const std::string& userId, const std::string& comment,
                    const std::vector<std::string>& groups = NO_GROUPS) {
  ContactMaker maker;
  Contact contact = maker.Make({.id = 0, .name = name, .userId = userId, .comment = comment},
                               groups, KeyOfGroup({}, "group"));
  contact.uid = "UID";
  return contact;
}

std::string ToVCard(const Contact& contact, VCardVersion version = VCardVersion::V4_0) {
  std::string text;
  VCardWriter([&](std::string_view piece) { text += piece; }, version).Write(contact);
  return text;
}

std::string ToCsvRow(const Contact& contact) {
  std::string text;
  CsvWriter writer([&](std::string_view piece) { text = piece; }, false);
  writer.Write(contact);
  return text;
}

std::string ToLdif(const Contact& contact) {
  std::string text;
  LdifWriter writer([&](std::string_view piece) { text = piece; });
  writer.Write(contact);
  return text;
}

std::string Repeat(const std::string& text, int times) {
  std::string all;
  for (int i = 0; i < times; ++i)
    all += text;
  return all;
}

TEST(VCard, Whole) {
  const std::vector<std::string> groups = {"友だち", "", "a,b\\"};
  const Contact contact = MakeContact("白石 千夏", "QZH02214", "幹事", groups);
  EXPECT_EQ(ToVCard(contact),
            "BEGIN:VCARD\r\nVERSION:4.0\r\nPRODID:-//nimport//contacts//EN\r\n"
            "UID:urn:uuid:UID\r\nFN:白石 千夏\r\nN:白石 千夏;;;;\r\nNOTE:幹事\r\n"
            "NOTE:NIFTY Manager ID: QZH02214\r\nX-NIMPORT-USER-ID:QZH02214\r\n"
            "CATEGORIES:友だち,a\\,b\\\\\r\nEND:VCARD\r\n");
  EXPECT_EQ(ToVCard(MakeContact("x", "x@example.jp", ""), VCardVersion::V3_0),
            "BEGIN:VCARD\r\nVERSION:3.0\r\nPRODID:-//nimport//contacts//EN\r\n"
            "UID:urn:uuid:UID\r\nFN:x\r\nN:x;;;;\r\nEMAIL;TYPE=INTERNET:x@example.jp\r\n"
            "END:VCARD\r\n");
}

TEST(VCard, EscapesValues) {
  const struct {
    const char* comment;
    const char* note3;
    const char* note4;
    const char* why;
  } cases[] = {
      {"a\\b,c;d", "a\\\\b\\,c\\;d", "a\\\\b\\,c;d", "4.0 has no escape for semicolons in texts"},
      {"1\r\n2\n3\r4", "1\\n2\\n3\\n4", "1\\n2\\n3\\n4", "every line end"},
      {"\r\n", "\\n", "\\n", "a line end alone"},
      {"\\n", "\\\\n", "\\\\n", "no line end"},
      {"a\tb\x01"
       "c\x7F",
       "a\tb c ", "a\tb c ", "control characters have no form"},
  };
  for (const auto& c : cases) {
    const Contact contact = MakeContact("x", "x@example.jp", c.comment);
    EXPECT_THAT(ToVCard(contact), HasSubstr("\r\nNOTE:" + std::string(c.note4) + "\r\n")) << c.why;
    EXPECT_THAT(ToVCard(contact, VCardVersion::V3_0),
                HasSubstr("\r\nNOTE:" + std::string(c.note3) + "\r\n"))
        << c.why;
  }
  for (const VCardVersion version : {VCardVersion::V3_0, VCardVersion::V4_0}) {
    EXPECT_THAT(ToVCard(MakeContact("a;b", "", ""), version), HasSubstr("\r\nN:a\\;b;;;;\r\n"))
        << "parts of a name end with semicolons";
  }
}

// "NOTE:" has five octets, so 70 more fill the first line; a blank and 74 the next ones.
TEST(VCard, FoldsBetweenCharactersAt75Octets) {
  const struct {
    std::string comment;
    std::string lines;
    const char* why;
  } cases[] = {
      {Repeat("x", 70), "NOTE:" + Repeat("x", 70) + "\r\n", "just fits"},
      {Repeat("x", 71), "NOTE:" + Repeat("x", 70) + "\r\n x\r\n", "one octet too many"},
      {Repeat("x", 145), "NOTE:" + Repeat("x", 70) + "\r\n " + Repeat("x", 74) + "\r\n x\r\n",
       "the blank counts"},
      {Repeat("x", 69) + "あ", "NOTE:" + Repeat("x", 69) + "\r\n あ\r\n",
       "a character of three octets is not torn"},
      {Repeat("あ", 24), "NOTE:" + Repeat("あ", 23) + "\r\n あ\r\n", "74 octets and three more"},
      {Repeat("x", 69) + " y", "NOTE:" + Repeat("x", 69) + " \r\n y\r\n",
       "the text's own blanks stay"},
  };
  for (const auto& c : cases) {
    EXPECT_THAT(ToVCard(MakeContact("x", "x@example.jp", c.comment)),
                HasSubstr("\r\n" + c.lines + "END"))
        << c.why;
  }
}

TEST(Contacts, TellAddressesFromMemberIds) {
  const struct {
    const char* userId;
    std::vector<std::string> emails;
    const char* nativeId;
    const char* why;
  } cases[] = {
      {"a@example.jp", {"a@example.jp"}, "", "an address needs no other form"},
      {"QZH02214", {}, "QZH02214", "a member ID"},
      {"佐倉", {}, "佐倉", "neither, but kept"},
      {"", {}, "", "nothing"},
      {"Taro <a@example.jp>", {"a@example.jp"}, "Taro <a@example.jp>", "the name would be lost"},
      {"a@example.jp, QZB04567; b@example.jp",
       {"a@example.jp", "b@example.jp"},
       "a@example.jp, QZB04567; b@example.jp",
       "several"},
  };
  for (const auto& c : cases) {
    const Contact contact = MakeContact("x", c.userId, "");
    EXPECT_EQ(contact.emails, c.emails) << c.why;
    EXPECT_EQ(contact.NativeId(), c.nativeId) << c.why;
  }
}

TEST(Contacts, AreCalledBySomething) {
  EXPECT_EQ(MakeContact("a\r\nb", "id", "c").DisplayName(), "a");
  EXPECT_EQ(MakeContact(" \t", "id", "c").DisplayName(), "id");
  EXPECT_EQ(MakeContact("", "", "\r\n\r\nline\r\nmore").DisplayName(), "line");
  EXPECT_EQ(MakeContact("", "", "").DisplayName(), "?");
}

TEST(Contacts, HaveUidsThatDifferAndLast) {
  const ContactSource address{.id = 0, .name = "n", .userId = "u", .comment = "c"};
  const ContactSource other{.id = 0, .name = "nu", .userId = "", .comment = "c"};
  std::vector<std::string> uids;
  for (int run = 0; run < 2; ++run) {
    ContactMaker maker;
    const GroupKey a = KeyOfGroup({}, "A");
    for (const GroupKey& group : {a, KeyOfGroup(a, "A"), KeyOfGroup({}, "AA")}) {
      uids.push_back(maker.Make(address, NO_GROUPS, group).uid);
      uids.push_back(maker.Make(address, NO_GROUPS, group).uid);
      uids.push_back(maker.Make(other, NO_GROUPS, group).uid);
    }
  }
  for (std::size_t i = 0; i < 9; ++i)
    EXPECT_EQ(uids[i], uids[i + 9]);
  std::sort(uids.begin(), uids.end());
  EXPECT_EQ(std::unique(uids.begin(), uids.end()) - uids.begin(), 9);
  EXPECT_THAT(uids[0], testing::MatchesRegex("[0-9a-f]{8}-[0-9a-f]{4}-8[0-9a-f]{3}-[89ab].*"));
}

TEST(Contacts, NameAtMostSoManyGroups) {
  std::vector<std::string> groups;
  for (int i = 0; i < 100'000; ++i)
    groups.push_back(std::to_string(i));
  const Contact contact = MakeContact("x", "", "", groups);
  EXPECT_EQ(contact.groups.size(), 64U);
  EXPECT_EQ(contact.groups.back(), "99999");
}

TEST(Csv, QuotesWhereNeeded) {
  const std::vector<std::string> groups = {"g", "h"};
  EXPECT_EQ(ToCsvRow(MakeContact("白石", "QZH02214", "c", groups)), "白石,,QZH02214,c,g; h\r\n");
  const struct {
    const char* comment;
    const char* cell;
  } cases[] = {{"a,b", "\"a,b\""},
               {"say \"x\"", "\"say \"\"x\"\"\""},
               {"1\r\n2", "\"1\r\n2\""},
               {"1\n2", "\"1\n2\""},
               {" blank", "\" blank\""},
               {"blank ", "\"blank \""},
               {"a;b\\c:d", "a;b\\c:d"},
               // What spreadsheets would compute is a text, and comes back by one rule.
               {"=1+1", "'=1+1"},
               {"+81-3-1234", "'+81-3-1234"},
               {"-1", "'-1"},
               {"@SUM(A1)", "'@SUM(A1)"},
               {"\t=1", "'\t=1"},
               {"\r=1", "\"'\r=1\""},
               {"'=1", "''=1"},
               {"'quoted'", "'quoted'"}};
  for (const auto& c : cases) {
    EXPECT_EQ(ToCsvRow(MakeContact("n", "a@b.jp", c.comment)),
              "n,a@b.jp,," + std::string(c.cell) + ",\r\n");
  }
  EXPECT_EQ(ToCsvRow(MakeContact("", "", "")), ",,,,\r\n");
}

TEST(Ldif, EncodesWhatIsNotSafe) {
  const struct {
    const char* comment;
    const char* line;
    const char* why;
  } cases[] = {
      {"plain: text <", "description: plain: text <\n", "safe"},
      {":x", "description:: Ong=\n", "a colon at the beginning"},
      {"<x", "description:: PHg=\n", "a less-than sign at the beginning"},
      {" x", "description:: IHg=\n", "a blank at the beginning"},
      {"x ", "description:: eCA=\n", "a blank at the end"},
      {"a\nb", "description:: YQpi\n", "a line end"},
      {"あ", "description:: 44GC\n", "not ASCII"},
  };
  for (const auto& c : cases) {
    EXPECT_THAT(ToLdif(MakeContact("n", "a@b.jp", c.comment)), testing::EndsWith(c.line)) << c.why;
  }
  EXPECT_THAT(ToLdif(MakeContact("n", "a@b.jp", Repeat("x", 64))),
              testing::EndsWith("description: " + Repeat("x", 63) + "\n x\n"));
}

// Groups of which nobody is a member would be no lawful entries.
TEST(Ldif, GroupsHaveMembers) {
  std::string text;
  LdifWriter writer([&](std::string_view piece) { text += piece; });
  writer.BeginGroup("A");
  writer.BeginGroup("empty");
  writer.EndGroup();
  writer.BeginGroup("B");
  writer.Write(MakeContact("n", "", ""));
  writer.EndGroup();
  writer.EndGroup();
  writer.Finish();
  EXPECT_THAT(text, testing::EndsWith("\ndn: ou=group-3,ou=contacts\nobjectClass: top\n"
                                      "objectClass: groupOfNames\nou: group-3\ncn: B\n"
                                      "member: uid=UID,ou=contacts\n"
                                      "\ndn: ou=group-1,ou=contacts\nobjectClass: top\n"
                                      "objectClass: groupOfNames\nou: group-1\ncn: A\n"
                                      "member: ou=group-3,ou=contacts\n"));
  EXPECT_THAT(text, testing::Not(HasSubstr("empty")));
}

TEST(Json, NestsGroups) {
  std::string text;
  JsonContactWriter writer([&](std::string_view piece) { text += piece; });
  writer.BeginGroup("A");
  writer.Write(MakeContact("n\"", "", ""));
  writer.Write(MakeContact("m", "QZH02214", "1\r\n"));
  writer.BeginGroup("B");
  writer.EndGroup();
  writer.BeginGroup("C");
  writer.Write(MakeContact("o", "o@example.jp", ""));
  writer.EndGroup();
  writer.EndGroup();
  writer.BeginGroup("D");
  writer.EndGroup();
  writer.Finish();
  EXPECT_EQ(nlohmann::json::parse(text), nlohmann::json::parse(R"({"groups": [
    {"name": "A",
     "addresses": [
       {"id": 0, "name": "n\"", "userId": "", "comment": "", "emails": [], "uid": "UID"},
       {"id": 0, "name": "m", "userId": "QZH02214", "comment": "1\r\n", "emails": [],
        "memberId": "QZH02214", "uid": "UID"}],
     "groups": [{"name": "B", "addresses": [], "groups": []},
                {"name": "C", "groups": [], "addresses": [
                  {"id": 0, "name": "o", "userId": "o@example.jp", "comment": "",
                   "emails": ["o@example.jp"], "uid": "UID"}]}]},
    {"name": "D", "addresses": [], "groups": []}]})"));
}

}  // namespace
}  // namespace nimport::archive
