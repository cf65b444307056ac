// Escaping, folding and encoding of contacts, form by form. What other parsers make of them is
// tests/contacts_second_opinion.
#include <algorithm>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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

// What a writer writes for the contact, with what it writes before the first.
template <typename Writer, typename... Option>
std::string Write(const Contact& contact, Option... option) {
  std::string text;
  Writer writer([&](std::string_view piece) { text += piece; }, option...);
  writer.Write(contact);
  return text;
}

std::string ToVCard(const Contact& contact, VCardVersion version = VCardVersion::V4_0) {
  return Write<VCardWriter>(contact, version);
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

// A comment in every form; null where it stays as it is. Base64 in LDIF.
TEST(ContactForms, EscapeWhatTheyMust) {
  const struct {
    const char* comment;
    const char* note3;
    const char* note4;
    const char* cell;
    const char* ldif;
    const char* why;
  } cases[] = {
      {"plain: text <", nullptr, nullptr, nullptr, nullptr, "safe everywhere"},
      {"a\\b,c;d", "a\\\\b\\,c\\;d", "a\\\\b\\,c;d", "\"a\\b,c;d\"", nullptr,
       "4.0 has no escape for semicolons in texts"},
      {"1\r\n2\n3\r4", "1\\n2\\n3\\n4", "1\\n2\\n3\\n4", "\"1\r\n2\n3\r4\"",
       "MQ0KMgozDTQ=", "every line end"},
      {"\r\n", "\\n", "\\n", "\"'\r\n\"", "DQo=", "a line end alone"},
      {"\\n", "\\\\n", "\\\\n", nullptr, nullptr, "no line end"},
      {"a\x01\x7F", "a  ", "a  ", nullptr, nullptr, "control characters have no form in cards"},
      {"say \"x\"", nullptr, nullptr, "\"say \"\"x\"\"\"", nullptr, "quotes"},
      {" x", nullptr, nullptr, "\" x\"", "IHg=", "a blank at the beginning"},
      {"x ", nullptr, nullptr, "\"x \"", "eCA=", "a blank at the end"},
      {":x", nullptr, nullptr, nullptr, "Ong=", "a colon at the beginning"},
      {"<x", nullptr, nullptr, nullptr, "PHg=", "a less-than sign at the beginning"},
      {"あ", nullptr, nullptr, nullptr, "44GC", "not ASCII"},
      // What spreadsheets would compute is a text, and comes back by one rule.
      {"=1+1", nullptr, nullptr, "'=1+1", nullptr, "a sum"},
      {"+81-3-1234", nullptr, nullptr, "'+81-3-1234", nullptr, "a number"},
      {"-1", nullptr, nullptr, "'-1", nullptr, "a number"},
      {"@SUM(A1)", nullptr, nullptr, "'@SUM(A1)", nullptr, "a function"},
      {"\t=1", nullptr, nullptr, "'\t=1", nullptr, "after a tab"},
      {"\r=1", "\\n=1", "\\n=1", "\"'\r=1\"", "DT0x", "after a line end"},
      {"'=1", nullptr, nullptr, "''=1", nullptr, "what looks guarded"},
      {"'quoted'", nullptr, nullptr, nullptr, nullptr, "an apostrophe alone"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    const auto wanted = [&](const char* text) { return text == nullptr ? c.comment : text; };
    const Contact contact = MakeContact("n", "a@b.jp", c.comment);
    EXPECT_THAT(ToVCard(contact, VCardVersion::V3_0),
                HasSubstr("\r\nNOTE:" + std::string(wanted(c.note3)) + "\r\n"));
    EXPECT_THAT(ToVCard(contact), HasSubstr("\r\nNOTE:" + std::string(wanted(c.note4)) + "\r\n"));
    EXPECT_THAT(Write<CsvWriter>(contact, false),
                testing::EndsWith("\r\nn,a@b.jp,," + std::string(wanted(c.cell)) + ",\r\n"));
    const std::string line = std::string(c.ldif == nullptr ? ": " : ":: ") + wanted(c.ldif) + "\n";
    EXPECT_THAT(Write<LdifWriter>(contact), testing::EndsWith("description" + line));
  }
  for (const VCardVersion version : {VCardVersion::V3_0, VCardVersion::V4_0}) {
    EXPECT_THAT(ToVCard(MakeContact("a;b", "", ""), version), HasSubstr("\r\nN:a\\;b;;;;\r\n"))
        << "parts of a name end with semicolons";
  }
  const std::vector<std::string> groups = {"g", "h"};
  EXPECT_THAT(Write<CsvWriter>(MakeContact("", "QZH02214", "c", groups), false),
              testing::EndsWith("\r\n,,QZH02214,c,g; h\r\n"));
}

// "NOTE:" has five octets, so 70 more fill the first line; a blank and 74 the next ones.
TEST(ContactForms, FoldBetweenCharacters) {
  const std::string full(70, 'x');
  const struct {
    std::string comment;
    std::string lines;
    const char* why;
  } cases[] = {
      {full, full, "just fits"},
      {full + "x", full + "\r\n x", "one octet too many"},
      {full + std::string(75, 'x'), full + "\r\n " + std::string(74, 'x') + "\r\n x",
       "the blank counts"},
      {full.substr(1) + "あ", full.substr(1) + "\r\n あ",
       "a character of three octets is not torn"},
      {Repeat("あ", 24), Repeat("あ", 23) + "\r\n あ", "74 octets and three more"},
      {full.substr(1) + " y", full.substr(1) + " \r\n y", "the text's own blanks stay"},
  };
  for (const auto& c : cases) {
    EXPECT_THAT(ToVCard(MakeContact("x", "x@example.jp", c.comment)),
                HasSubstr("\r\nNOTE:" + c.lines + "\r\nEND"))
        << c.why;
  }
  EXPECT_THAT(Write<LdifWriter>(MakeContact("n", "a@b.jp", full)),
              testing::EndsWith("description: " + full.substr(7) + "\n " + full.substr(63) + "\n"));
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

}  // namespace
}  // namespace nimport::archive
