// The address book through the exports of the library, on stores made for the test.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/process_environment.h"
#include "plugin/handle_node.h"
#include "store/addressbook/address_book_store.h"

namespace nimport::test {
namespace {

using nlohmann::json;

const NumberAnswer REFUSED = {RESULT_INVALID, 77};
const TextAnswer NO_TEXT = {RESULT_INVALID, ""};
const std::string SAMPLE = NIMPORT_SHARED_SAMPLES "/demo-jet4";

TextAnswer Ok(std::string text) {
  return {RESULT_OK, std::move(text)};
}

NumberAnswer Ok(std::int32_t number) {
  return {RESULT_OK, number};
}

// The group 表 (2 addresses) with the group G2 (3 addresses) beneath it, and the group G3 (none).
json SmallBook() {
  return json::parse(R"([
    {"name": "表", "members": [
      {"name": "N-a", "userId": "a", "comment": "C-a"},
      {"name": "G2", "members": [
        {"name": "①", "userId": "c", "comment": "C-c"}, {"userId": "d"}, {"name": "e", "userId": "e"}]},
      {"name": "N-b", "userId": "b", "comment": "ソ\r\n"}]},
    {"name": "G3"}])");
}

TEST(AddressExports, WalkGroupsAndAddressesInBothFormats) {
  const json wanted = json::parse(R"([
    {"index": 0, "parentIndex": -1, "name": "表", "addresses": [
      {"name": "N-a", "userId": "a", "comment": "C-a"},
      {"name": "N-b", "userId": "b", "comment": "ソ\r\n"}]},
    {"index": 1, "parentIndex": 0, "name": "G2", "addresses": [
      {"name": "①", "userId": "c", "comment": "C-c"},
      {"name": "", "userId": "d", "comment": ""}, {"name": "e", "userId": "e", "comment": ""}]},
    {"index": 2, "parentIndex": -1, "name": "G3", "addresses": []}])");
  for (const auto format : {mkstore::JetVersion::Jet3, mkstore::JetVersion::Jet4}) {
    const AddressBookStore store(SmallBook(), {.format = format});
    AddressSession session;
    EXPECT_EQ(ListGroups(session, session.OpenBook()), wanted);
  }
}

// A book that another engine wrote, with the answers that come with it.
TEST(AddressExports, WalkTheSampleBook) {
  if (!std::filesystem::exists(SAMPLE)) GTEST_SKIP() << "no sample at " << SAMPLE;
  PointEnvironmentTo(SAMPLE + "/registry.reg", "C=" + SAMPLE + "/c");
  const json wanted = json::parse(std::ifstream(SAMPLE + "/expected.json"))["addressBook"];
  AddressSession session;
  EXPECT_EQ(ListGroups(session, session.OpenBook()), wanted["groups"]);
}

// An address's position is tested when it is used, and its number not at all.
TEST(AddressExports, HandOutAddressesThatAreNotThere) {
  const AddressBookStore store(SmallBook());
  AddressSession session;
  HandleNode* book = session.OpenBook();
  HandleNode* g1 = session.Group(book, 0);
  HandleNode* g3 = session.Group(book, 1);
  const struct {
    HandleNode* parent;
    std::int32_t index;
    std::int32_t id;
  } rows[] = {{book, 5, 5}, {book, -1, -1}, {book, INT32_MAX, INT32_MAX}, {g1, 2, 2}, {g1, 99, 99},
              {g1, -1, -1}, {g3, 0, 5}};
  for (const auto& row : rows) {
    HandleNode* address = session.Address(row.parent, row.index);
    ASSERT_NE(address, nullptr) << row.index;
    EXPECT_EQ(session.Name(address), NO_TEXT) << row.index;
    EXPECT_EQ(session.Value(address, 0), NO_TEXT) << row.index;
    EXPECT_EQ(session.Id(address), Ok(row.id)) << row.index;
  }
  EXPECT_EQ(session.Id(session.Address(g3, INT32_MAX)).code, RESULT_OK);
}

TEST(AddressExports, NameTheFieldsAndFindThemByTheirName) {
  const AddressBookStore store(SmallBook());
  AddressSession session;
  HandleNode* book = session.OpenBook();
  HandleNode* s = session.get();
  const auto find = [&](const NimportChar16* name) {
    return AskNumber([&](std::int32_t* out) { return AD_GetFieldIndex(s, book, name, out); });
  };
  const struct {
    const char16_t* name;
    const char* label;
  } fields[] = {{u"EMAIL;INTERNET", "ID/アドレス"}, {u"NOTE", "コメント"}, {u"FN", "名前"}};
  std::int32_t count = 0;
  for (const auto& [name, label] : fields) {
    EXPECT_EQ(AskText([&](ResultString* text) { return AD_GetFieldName(s, book, count, text); }),
              Ok(std::string(name, name + std::char_traits<char16_t>::length(name))));
    EXPECT_EQ(AskUtf8([&](ResultString* text) { return AD_GetFieldLabel(s, book, count, text); }),
              label);
    EXPECT_EQ(find(AsArgument(name)), Ok(count));
    ++count;
  }
  EXPECT_EQ(AskNumber([&](std::int32_t* out) { return AD_GetFieldCount(s, book, out); }),
            Ok(count));
  for (const std::int32_t outside : {-1, count, INT32_MIN}) {
    for (const auto get : {AD_GetFieldName, AD_GetFieldLabel}) {
      EXPECT_EQ(AskText([&](ResultString* text) { return get(s, book, outside, text); }), NO_TEXT);
    }
    EXPECT_EQ(session.Value(session.Address(book, 0), outside), NO_TEXT) << outside;
  }
  for (const char16_t* name : {u"note", u"", u"F", u"FNX", u"EMAIL", u"\x0146N"})
    EXPECT_EQ(find(AsArgument(name)), Ok(-1));
  EXPECT_EQ(find(nullptr), REFUSED);
}

TEST(AddressExports, OpenAndCloseSeveralTimes) {
  const AddressBookStore store(SmallBook());
  AddressSession session;
  AddressSession other;
  HandleNode* bookOfOther = other.OpenBook();
  EXPECT_EQ(session.Close(nullptr), RESULT_INVALID);
  EXPECT_EQ(session.Close(session.get()), RESULT_OK) << "nothing is open, nothing is looked at";
  for (int round = 0; round < 2; ++round) {
    HandleNode* first = session.OpenBook();
    HandleNode* second = session.OpenBook();
    ASSERT_NE(second, nullptr);
    EXPECT_NE(first, second);
    HandleNode* group = session.Group(second, 1);
    for (HandleNode* noBook :
         {static_cast<HandleNode*>(nullptr), group, session.get(), bookOfOther})
      EXPECT_EQ(session.Close(noBook), RESULT_INVALID);
    static_cast<void>(session.Address(session.Group(first, 0), 0));
    EXPECT_EQ(session.Close(first), RESULT_OK);
    EXPECT_EQ(session.Name(group), Ok("G3")) << "of the book still open";
    EXPECT_EQ(session.AddressCount(second), Ok(5));
    EXPECT_EQ(session.get()->children.size(), 1u) << "the closed book's handles are gone";
    EXPECT_EQ(session.Close(second), RESULT_OK);
    EXPECT_EQ(session.Close(session.get()), RESULT_OK);
    EXPECT_TRUE(session.get()->children.empty());
  }
  EXPECT_EQ(other.AddressCount(bookOfOther), Ok(5));
}

TEST(AddressExports, HaveAddressesInNoGroupForWhoeverSalvages) {
  json entries = SmallBook();
  entries.push_back({{"parent", 990}, {"userId", "g"}});
  entries.push_back({{"userId", "f"}});
  const AddressBookStore store(entries);
  for (const bool isSalvaging : {false, true}) {
    const tests::ScopedVariable salvage("NIMPORT_SALVAGE", isSalvaging ? "1" : "0");
    AddressSession session;
    const json groups = ListGroups(session, session.OpenBook());
    ASSERT_EQ(groups.size(), isSalvaging ? 5u : 3u);
    if (!isSalvaging) continue;
    EXPECT_EQ(groups[3]["name"], "");
    EXPECT_EQ(groups[3]["addresses"][0]["userId"], "f");
    EXPECT_EQ(groups[4]["addresses"][0]["userId"], "g");
  }
}

// After a failed first open every later one answers -3, until the session ends.
TEST(AddressExports, StayStrandedAfterAFailedOpen) {
  const struct {
    const char* why;
    json entries;
    json columns;
    ResultCode code;
  } rows[] = {
      {"a group without a name", {{{"key", 1}}}, nullptr, RESULT_INVALID},
      {"no column Comment",
       {{{"name", "G"}, {"members", {{{"userId", "x"}}}}}},
       {"KeyNo Long", "ParentKeyNo Long", "Type Byte", "Name Text(128)", "UserID Text(128)"},
       RESULT_DATABASE},
  };
  for (const auto& row : rows) {
    const AddressBookStore store(row.entries, {}, row.columns);
    for (int sessions = 0; sessions < 2; ++sessions) {
      AddressSession session;
      HandleNode* book = nullptr;
      EXPECT_EQ(session.Open(&book), row.code) << row.why;
      EXPECT_EQ(session.Open(&book), RESULT_INVALID) << row.why;
      EXPECT_EQ(session.Open(&book), RESULT_INVALID) << row.why;
      EXPECT_EQ(book, nullptr) << row.why;
      EXPECT_EQ(session.Close(session.get()), RESULT_OK) << row.why;
      EXPECT_EQ(session.GroupCount(session.get()), REFUSED) << row.why;
    }
  }
  const AddressBookStore store(SmallBook());
  MailSession mail;
  HandleNode* book = nullptr;
  EXPECT_EQ(AD_OpenAddressBook(mail.get(), nullptr, nullptr, &book), RESULT_DATABASE);
  EXPECT_EQ(AD_OpenAddressBook(mail.get(), nullptr, nullptr, &book), RESULT_INVALID);
  EXPECT_EQ(book, nullptr);
  EXPECT_NE(mail.User(), nullptr) << "the mail side goes on";
}

TEST(AddressExports, CutLongTextsAtAWholeCharacter) {
  const auto repeat = [](const std::string& text, int count) {
    std::string all;
    for (int i = 0; i < count; ++i)
      all += text;
    return all;
  };
  const std::string kanji = "\x88\xC0";  // 安
  const json columns = {"KeyNo Long", "ParentKeyNo Long", "Type Integer",
                        "Name Memo",  "UserID Memo",      "Comment Memo"};
  const AddressBookStore store({{{"name", repeat("安", 140)},
                                 {"members",
                                  {{{"name", "x" + repeat("安", 200)},
                                    {"userId", repeat("安", 130)},
                                    {"comment", repeat("安", 3'000)}},
                                   {{"name", repeat("x", 259)},
                                    {"userId", repeat("x", 260)},
                                    {"comment", repeat("x", 4'095)}},
                                   {{"userId", "x"}, {"comment", "x" + repeat("安", 2'047)}}}}}},
                               {.format = mkstore::JetVersion::Jet4}, columns);
  AddressSession session;
  HandleNode* book = session.OpenBook();
  EXPECT_EQ(session.Name(session.Group(book, 0)).text, repeat(kanji, 129));
  HandleNode* cut = session.Address(book, 0);
  EXPECT_EQ(session.Name(cut).text, "x" + repeat(kanji, 129));
  EXPECT_EQ(session.Value(cut, 0).text, repeat(kanji, 129));
  EXPECT_EQ(session.Value(cut, 1).text, repeat(kanji, 2'047));
  HandleNode* ascii = session.Address(book, 1);
  EXPECT_EQ(session.Name(ascii).text, repeat("x", 259));
  EXPECT_EQ(session.Value(ascii, 0).text, repeat("x", 259));
  EXPECT_EQ(session.Value(ascii, 1).text, repeat("x", 4'095));
  EXPECT_EQ(session.Value(session.Address(book, 2), 1).text, "x" + repeat(kanji, 2'047));
}

TEST(AddressExports, ReadNumbersFromColumnsOfEveryKind) {
  const json columns = {"KeyNo Text(16)", "ParentKeyNo Double", "Type Byte",
                        "Name Text(64)",  "UserID Text(64)",    "Comment Memo"};
  const AddressBookStore store({{{"columns", {{"KeyNo", "7"}}}, {"name", "G"}},
                                {{"parent", 7}, {"userId", "x"}},
                                {{"parent", 7}, {"columns", {{"KeyNo", "none"}}}, {"name", "H"}}},
                               {}, columns);
  AddressSession session;
  HandleNode* book = session.OpenBook();
  ASSERT_NE(book, nullptr);
  HandleNode* group = session.Group(book, 0);
  EXPECT_EQ(session.AddressCount(group), Ok(1));
  EXPECT_EQ(session.Name(session.Group(group, 0)), Ok("H"));
}

TEST(AddressExports, WalkGroupsAHundredThousandDeep) {
  constexpr std::int32_t DEPTH = 100'000;
  json entries = json::array();
  for (std::int32_t i = 1; i <= DEPTH; ++i) {
    entries.push_back({{"key", i}, {"parent", i - 1}, {"name", "G" + std::to_string(i)}});
  }
  entries.push_back({{"parent", DEPTH}, {"userId", "x"}});
  const AddressBookStore store(std::move(entries));
  AddressSession session;
  HandleNode* book = session.OpenBook();
  HandleNode* node = book;
  for (std::int32_t i = 1; i <= DEPTH; ++i) {
    node = session.Group(node, 0);
    ASSERT_NE(node, nullptr) << i;
  }
  EXPECT_EQ(session.Name(node), Ok("G100000"));
  EXPECT_EQ(session.Value(session.Address(node, 0), 0), Ok("x"));
  EXPECT_EQ(session.Close(book), RESULT_OK);
  node = session.OpenBook();
  for (std::int32_t i = 1; i <= DEPTH; ++i)
    node = session.Group(node, 0);
  EXPECT_NE(node, nullptr) << "and Terminate frees them";
}

// 100,000 addresses in 20,000 groups: the last positions of the book cost what the first do. A walk
// over the groups would make them some twenty times as dear.
TEST(AddressExports, AnswerForPositionsInALargeBookAtEqualCost) {
  constexpr std::int32_t GROUPS = 20'000;
  constexpr std::int32_t ADDRESSES = 5 * GROUPS;
  json entries = json::array();
  for (std::int32_t g = 1; g <= GROUPS; ++g) {
    entries.push_back({{"key", g}, {"parent", 0}, {"name", "G"}});
  }
  for (std::int32_t a = 0; a < ADDRESSES; ++a) {
    entries.push_back({{"parent", 1 + a / 5}, {"userId", std::to_string(a)}});
  }
  const AddressBookStore store(std::move(entries));
  AddressSession session;
  HandleNode* book = session.OpenBook();
  ASSERT_EQ(session.AddressCount(book), Ok(ADDRESSES));
  const auto ask = [&](std::int32_t first) {
    auto best = std::chrono::steady_clock::duration::max();
    for (int repetition = 0; repetition < 3; ++repetition) {
      const auto start = std::chrono::steady_clock::now();
      for (std::int32_t a = first; a < first + ADDRESSES / 20; ++a) {
        HandleNode* group = session.Group(book, a / 5);
        HandleNode* inGroup = session.Address(group, a % 5);
        EXPECT_EQ(session.Id(inGroup).value, a);
        EXPECT_EQ(session.Value(session.Address(book, a), 0).text, std::to_string(a));
      }
      best = std::min(best, std::chrono::steady_clock::now() - start);
    }
    return best;
  };
  const auto first = ask(0);
  const auto last = ask(ADDRESSES - ADDRESSES / 20);
  EXPECT_LT(last, 4 * first);
}

}  // namespace
}  // namespace nimport::test
