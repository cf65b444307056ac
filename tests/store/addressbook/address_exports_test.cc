// The address book through the exports of the library, on stores made for the test.
#include <algorithm>
#include <array>
#include <chrono>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "command/environment.h"
#include "plugin/handle_node.h"
#include "store/addressbook/address_book_store.h"

namespace nimport::test {
namespace {

using nlohmann::json;

const NumberAnswer REFUSED = {RESULT_INVALID, 77};
const TextAnswer NO_TEXT = {RESULT_INVALID, ""};

json Person(const std::string& userId) {
  return {{"name", "N-" + userId}, {"userId", userId}, {"comment", "C-" + userId}};
}

// G1 (2 addresses) with G2 (3 addresses) beneath it, and G3 (none).
json SmallBook() {
  return {{{"name", "G1"},
           {"members",
            {Person("a"),
             {{"name", "G2"}, {"members", {Person("c"), Person("d"), Person("e")}}},
             Person("b")}}},
          {{"name", "G3"}}};
}

TEST(AddressExports, WalkGroupsAndAddressesInBothFormats) {
  for (const auto format : {mkstore::JetVersion::Jet3, mkstore::JetVersion::Jet4}) {
    const AddressBookStore store(SmallBook(), {.format = format});
    AddressSession session;
    HandleNode* book = session.OpenBook();
    ASSERT_NE(book, nullptr);
    EXPECT_EQ(session.GroupCount(book), (NumberAnswer{RESULT_OK, 2}));
    HandleNode* g1 = session.Group(book, 0);
    HandleNode* g2 = session.Group(g1, 0);
    HandleNode* g3 = session.Group(book, 1);
    EXPECT_EQ(session.Name(g1), (TextAnswer{RESULT_OK, "G1"}));
    EXPECT_EQ(session.Name(g2), (TextAnswer{RESULT_OK, "G2"}));
    EXPECT_EQ(session.Name(g3), (TextAnswer{RESULT_OK, "G3"}));
    EXPECT_EQ(session.GroupCount(g1), (NumberAnswer{RESULT_OK, 1}));
    EXPECT_EQ(session.GroupCount(g3), (NumberAnswer{RESULT_OK, 0}));
    for (const std::int32_t outside : {-1, 2, std::numeric_limits<std::int32_t>::max()}) {
      EXPECT_EQ(session.Group(book, outside), nullptr) << outside;
    }
    EXPECT_EQ(session.AddressCount(book), (NumberAnswer{RESULT_OK, 5}));
    EXPECT_EQ(session.AddressCount(g1), (NumberAnswer{RESULT_OK, 2}));
    EXPECT_EQ(session.AddressCount(g3), (NumberAnswer{RESULT_OK, 0}));
    const std::string userIds = "abcde";
    for (std::int32_t i = 0; i < 5; ++i) {
      HandleNode* inBook = session.Address(book, i);
      HandleNode* inGroup = i < 2 ? session.Address(g1, i) : session.Address(g2, i - 2);
      for (HandleNode* address : {inBook, inGroup}) {
        const std::string userId(1, userIds[static_cast<std::size_t>(i)]);
        EXPECT_EQ(session.Id(address), (NumberAnswer{RESULT_OK, i}));
        EXPECT_EQ(session.Name(address), (TextAnswer{RESULT_OK, "N-" + userId}));
        EXPECT_EQ(session.Value(address, 0), (TextAnswer{RESULT_OK, userId}));
        EXPECT_EQ(session.Value(address, 1), (TextAnswer{RESULT_OK, "C-" + userId}));
        EXPECT_EQ(session.Value(address, 2), (TextAnswer{RESULT_OK, "N-" + userId}));
      }
    }
  }
}

// An address's position is tested when it is used, and its number not at all.
TEST(AddressExports, HandOutAddressesThatAreNotThere) {
  const AddressBookStore store(SmallBook());
  AddressSession session;
  HandleNode* book = session.OpenBook();
  HandleNode* g1 = session.Group(book, 0);
  HandleNode* g3 = session.Group(book, 1);
  constexpr std::int32_t LARGEST = std::numeric_limits<std::int32_t>::max();
  struct Row {
    HandleNode* parent;
    std::int32_t index;
    std::int32_t id;
  };
  for (const Row& row : {Row{book, 5, 5}, Row{book, -1, -1}, Row{book, LARGEST, LARGEST},
                         Row{g1, 2, 2}, Row{g1, 99, 99}, Row{g1, -1, -1}, Row{g3, 0, 5}}) {
    HandleNode* address = session.Address(row.parent, row.index);
    ASSERT_NE(address, nullptr) << row.index;
    EXPECT_EQ(session.Name(address), NO_TEXT) << row.index;
    EXPECT_EQ(session.Value(address, 0), NO_TEXT) << row.index;
    EXPECT_EQ(session.Id(address), (NumberAnswer{RESULT_OK, row.id})) << row.index;
  }
  EXPECT_EQ(session.Id(session.Address(g3, LARGEST)).code, RESULT_OK);
}

TEST(AddressExports, NameTheFields) {
  const AddressBookStore store(SmallBook());
  AddressSession session;
  HandleNode* book = session.OpenBook();
  HandleNode* s = session.get();
  EXPECT_EQ(AskNumber([&](std::int32_t* out) { return AD_GetFieldCount(s, book, out); }),
            (NumberAnswer{RESULT_OK, 3}));
  struct Row {
    std::int32_t field;
    ResultCode code;
    const char* name;
    std::u16string label;
  };
  const Row rows[] = {{-1, RESULT_INVALID, "", u""},
                      {0, RESULT_OK, "EMAIL;INTERNET", u"ID/アドレス"},
                      {1, RESULT_OK, "NOTE", u"コメント"},
                      {2, RESULT_OK, "FN", u"名前"},
                      {3, RESULT_INVALID, "", u""}};
  for (const Row& row : rows) {
    EXPECT_EQ(
        AskText([&](ResultString* text) { return AD_GetFieldName(s, book, row.field, text); }),
        (TextAnswer{row.code, row.name}));
    ResultString label{nullptr, ENCODING_UTF16, 0, nullptr};
    ASSERT_EQ(AD_GetFieldLabel(s, book, row.field, &label), row.code);
    if (row.code != RESULT_OK) continue;
    EXPECT_EQ(static_cast<const char16_t*>(label.buffer), row.label);
    label.release(label.buffer);
  }
  for (const std::int32_t field : {-1, 3, std::numeric_limits<std::int32_t>::min()}) {
    EXPECT_EQ(session.Value(session.Address(book, 0), field), NO_TEXT) << field;
  }
}

TEST(AddressExports, FindFieldsByTheirNameToTheLetter) {
  const AddressBookStore store(SmallBook());
  AddressSession session;
  HandleNode* book = session.OpenBook();
  struct Row {
    const char16_t* name;
    std::int32_t field;
  };
  for (const Row& row :
       {Row{u"EMAIL;INTERNET", 0}, Row{u"NOTE", 1}, Row{u"FN", 2}, Row{u"note", -1}, Row{u"", -1},
        Row{u"F", -1}, Row{u"FNX", -1}, Row{u"EMAIL", -1}, Row{u"\x0146N", -1}}) {
    EXPECT_EQ(AskNumber([&](std::int32_t* out) {
                return AD_GetFieldIndex(session.get(), book, AsArgument(row.name), out);
              }),
              (NumberAnswer{RESULT_OK, row.field}));
  }
  EXPECT_EQ(AskNumber([&](std::int32_t* out) {
              return AD_GetFieldIndex(session.get(), book, nullptr, out);
            }),
            REFUSED);
}

TEST(AddressExports, NameTheBookAndNothing) {
  const AddressBookStore store(SmallBook());
  AddressSession session;
  EXPECT_EQ(session.Name(nullptr), (TextAnswer{RESULT_OK, ""}));
  ResultString name{nullptr, ENCODING_UTF16, 0, nullptr};
  ASSERT_EQ(AD_GetName(session.get(), session.OpenBook(), &name), RESULT_OK);
  EXPECT_EQ(static_cast<const char16_t*>(name.buffer), std::u16string(u"アドレス帳"));
  name.release(name.buffer);
  EXPECT_EQ(session.Name(session.get()), NO_TEXT);
}

// Calls of every export that takes a handle in the second place.
struct SecondHandleRow {
  const char* name;
  std::string accepted;  // b: book, g: group, a: address
  std::function<ResultCode(HandleNode* session, HandleNode* node, void* out)> call;
};

std::vector<SecondHandleRow> SecondHandleRows() {
  const auto number = [](auto get) {
    return [get](HandleNode* s, HandleNode* n, void* out) {
      return get(s, n, static_cast<std::int32_t*>(out));
    };
  };
  const auto indexed = [](auto get, auto* type) {
    return [get](HandleNode* s, HandleNode* n, void* out) {
      return get(s, n, 0, static_cast<decltype(type)>(out));
    };
  };
  ResultString* text = nullptr;
  HandleNode** handle = nullptr;
  return {
      {"AD_GetChildGroupCount", "bg", number(AD_GetChildGroupCount)},
      {"AD_GetChildGroup", "bg", indexed(AD_GetChildGroup, handle)},
      {"AD_GetAddressCount", "bg", number(AD_GetAddressCount)},
      {"AD_GetAddress", "bg", indexed(AD_GetAddress, handle)},
      {"AD_GetName", "bga",
       [](HandleNode* s, HandleNode* n, void* out) {
         return AD_GetName(s, n, static_cast<ResultString*>(out));
       }},
      {"AD_GetId", "a", number(AD_GetId)},
      {"AD_GetFieldCount", "b", number(AD_GetFieldCount)},
      {"AD_GetFieldName", "b", indexed(AD_GetFieldName, text)},
      {"AD_GetFieldLabel", "b", indexed(AD_GetFieldLabel, text)},
      {"AD_GetFieldIndex", "b",
       [](HandleNode* s, HandleNode* n, void* out) {
         return AD_GetFieldIndex(s, n, AsArgument(u"FN"), static_cast<std::int32_t*>(out));
       }},
      {"AD_GetValue", "a", indexed(AD_GetValue, text)},
  };
}

TEST(AddressExports, CheckTheirSecondHandleAndTheirPlaceForTheResult) {
  const AddressBookStore store(SmallBook());
  AddressSession session;
  HandleNode* book = session.OpenBook();
  HandleNode* group = session.Group(book, 0);
  HandleNode* user = nullptr;
  ASSERT_EQ(ML_GetUser(session.get(), 0, &user), RESULT_OK);
  const std::pair<char, HandleNode*> nodes[] = {
      {'b', book}, {'g', group},         {'a', session.Address(group, 0)},
      {'u', user}, {'s', session.get()}, {'0', nullptr}};
  for (const SecondHandleRow& row : SecondHandleRows()) {
    for (const auto& [kind, node] : nodes) {
      const bool accepted = row.accepted.find(kind) != std::string::npos ||
                            (kind == '0' && std::string(row.name) == "AD_GetName");
      ResultString out{nullptr, ENCODING_CODE_PAGE_932, 0, nullptr};
      EXPECT_EQ(row.call(session.get(), node, &out), accepted ? RESULT_OK : RESULT_INVALID)
          << row.name << ' ' << kind;
      if (out.buffer != nullptr && out.encoding == ENCODING_CODE_PAGE_932) out.release(out.buffer);
      EXPECT_EQ(row.call(session.get(), node, nullptr), RESULT_INVALID) << row.name << ' ' << kind;
    }
  }
  EXPECT_EQ(session.Open(nullptr), RESULT_INVALID);
}

TEST(AddressExports, NeedAnOpenBook) {
  const AddressBookStore store(SmallBook());
  AddressSession open;
  HandleNode* book = open.OpenBook();
  HandleNode* address = open.Address(book, 0);
  AddressSession closed;
  for (const SecondHandleRow& row : SecondHandleRows()) {
    HandleNode* node = row.accepted == "a" ? address : book;
    ResultString out{nullptr, ENCODING_CODE_PAGE_932, 0, nullptr};
    const bool looksAtSessionOnly = std::string(row.name) == "AD_GetName";
    EXPECT_EQ(row.call(closed.get(), node, &out), looksAtSessionOnly ? RESULT_OK : RESULT_INVALID)
        << row.name;
    if (looksAtSessionOnly) out.release(out.buffer);
  }
}

TEST(AddressExports, OpenAndCloseSeveralTimes) {
  const AddressBookStore store(SmallBook());
  AddressSession session;
  EXPECT_EQ(session.Close(nullptr), RESULT_INVALID);
  EXPECT_EQ(session.Close(session.get()), RESULT_OK) << "nothing is open, nothing is looked at";
  for (int round = 0; round < 2; ++round) {
    HandleNode* first = session.OpenBook();
    HandleNode* second = session.OpenBook();
    ASSERT_NE(second, nullptr);
    EXPECT_NE(first, second);
    HandleNode* group = session.Group(second, 0);
    EXPECT_EQ(session.Close(nullptr), RESULT_INVALID);
    EXPECT_EQ(session.Close(group), RESULT_INVALID);
    EXPECT_EQ(session.Close(session.get()), RESULT_INVALID);
    static_cast<void>(session.Address(session.Group(first, 0), 0));
    EXPECT_EQ(session.Close(first), RESULT_OK);
    EXPECT_EQ(session.Name(group), (TextAnswer{RESULT_OK, "G1"})) << "of the book still open";
    EXPECT_EQ(session.AddressCount(second), (NumberAnswer{RESULT_OK, 5}));
    EXPECT_EQ(session.get()->children.size(), 1u) << "the closed book's handles are gone";
    EXPECT_EQ(session.Close(second), RESULT_OK);
    EXPECT_EQ(session.Close(session.get()), RESULT_OK);
    EXPECT_TRUE(session.get()->children.empty());
  }
}

TEST(AddressExports, CloseNoBookOfAnotherSession) {
  const AddressBookStore store(SmallBook());
  AddressSession one;
  AddressSession two;
  HandleNode* bookOfOne = one.OpenBook();
  HandleNode* bookOfTwo = two.OpenBook();
  EXPECT_EQ(one.Close(bookOfTwo), RESULT_INVALID);
  EXPECT_EQ(two.AddressCount(bookOfTwo), (NumberAnswer{RESULT_OK, 5}));
  EXPECT_EQ(one.AddressCount(bookOfOne), (NumberAnswer{RESULT_OK, 5}));
}

TEST(AddressExports, OpenBooksWithoutGroups) {
  for (const json& entries : {json::array(), json{Person("x")}}) {
    const AddressBookStore store(entries);
    AddressSession session;
    HandleNode* book = session.OpenBook();
    ASSERT_NE(book, nullptr);
    EXPECT_EQ(session.GroupCount(book), (NumberAnswer{RESULT_OK, 0}));
    EXPECT_EQ(session.AddressCount(book), (NumberAnswer{RESULT_OK, 0}));
    EXPECT_EQ(session.Group(book, 0), nullptr);
    EXPECT_EQ(session.Name(session.Address(book, 0)), NO_TEXT);
  }
}

TEST(AddressExports, HaveAddressesInNoGroupForWhoeverSalvages) {
  json entries = SmallBook();
  entries.push_back({{"parent", 990}, {"userId", "g"}});
  entries.push_back(Person("f"));
  const AddressBookStore store(entries);
  for (const bool isSalvaging : {false, true}) {
    const tests::ScopedVariable variable("NIMPORT_SALVAGE", isSalvaging ? "1" : "0");
    AddressSession session;
    HandleNode* book = session.OpenBook();
    const std::int32_t more = isSalvaging ? 2 : 0;
    EXPECT_EQ(session.GroupCount(book), (NumberAnswer{RESULT_OK, 2 + more}));
    EXPECT_EQ(session.AddressCount(book), (NumberAnswer{RESULT_OK, 5 + more}));
    EXPECT_EQ(session.Value(session.Address(book, 4), 0), (TextAnswer{RESULT_OK, "e"}));
    if (!isSalvaging) continue;
    HandleNode* top = session.Group(book, 2);
    EXPECT_EQ(session.Name(top), (TextAnswer{RESULT_OK, ""}));
    EXPECT_EQ(session.Value(session.Address(top, 0), 0), (TextAnswer{RESULT_OK, "f"}));
    EXPECT_EQ(session.Id(session.Address(session.Group(book, 3), 0)), (NumberAnswer{RESULT_OK, 6}));
  }
}

// After a failed first open every later one answers -3, until the session ends.
TEST(AddressExports, StayStrandedAfterAFailedOpen) {
  const json noName = {{{"key", 1}}};
  const json noUserId = {{{"name", "G"}, {"members", {{{"name", "x"}, {"type", 2}}}}}};
  const json withoutComment = {{"AddressBookTBL",
                                {{"columns",
                                  {"KeyNo Long", "ParentKeyNo Long", "Type Integer",
                                   "Name Text(128)", "UserID Text(128)"}}}}};
  struct Row {
    const char* why;
    json entries;
    json tables;
    ResultCode code;
  };
  const Row rows[] = {
      {"a group without a name", noName, nullptr, RESULT_INVALID},
      {"an address without a user ID", noUserId, nullptr, RESULT_INVALID},
      {"a column is missing",
       {{{"name", "G"}, {"members", {{{"userId", "x"}}}}}},
       withoutComment,
       RESULT_DATABASE},
  };
  for (const Row& row : rows) {
    const AddressBookStore store(row.entries, {}, row.tables);
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
}

TEST(AddressExports, FindNoBookInAMailSession) {
  const AddressBookStore store(SmallBook());
  MailSession session;
  HandleNode* book = nullptr;
  EXPECT_EQ(AD_OpenAddressBook(session.get(), nullptr, nullptr, &book), RESULT_DATABASE);
  EXPECT_EQ(AD_OpenAddressBook(session.get(), nullptr, nullptr, &book), RESULT_INVALID);
  EXPECT_EQ(book, nullptr);
  EXPECT_NE(session.User(), nullptr) << "the mail side goes on";
}

TEST(AddressExports, CutLongTextsAtAWholeCharacter) {
  const auto repeat = [](const std::string& text, int count) {
    std::string all;
    for (int i = 0; i < count; ++i)
      all += text;
    return all;
  };
  const std::string kanji = "\x88\xC0";  // 安
  const json columns = {{"AddressBookTBL",
                         {{"columns",
                           {"KeyNo Long", "ParentKeyNo Long", "Type Integer", "Name Memo",
                            "UserID Memo", "Comment Memo"}}}}};
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
  const json columns = {{"AddressBookTBL",
                         {{"columns",
                           {"KeyNo Text(16)", "ParentKeyNo Double", "Type Byte", "Name Text(64)",
                            "UserID Text(64)", "Comment Memo"}}}}};
  const AddressBookStore store({{{"columns", {{"KeyNo", "7"}}}, {"name", "G"}},
                                {{"parent", 7}, {"userId", "x"}},
                                {{"parent", 7}, {"columns", {{"KeyNo", "none"}}}, {"name", "H"}}},
                               {}, columns);
  AddressSession session;
  HandleNode* book = session.OpenBook();
  ASSERT_NE(book, nullptr);
  HandleNode* group = session.Group(book, 0);
  EXPECT_EQ(session.AddressCount(group), (NumberAnswer{RESULT_OK, 1}));
  EXPECT_EQ(session.Name(session.Group(group, 0)), (TextAnswer{RESULT_OK, "H"}));
}

// A session of either kind that goes to its database and to its files whenever it is used.
class UsedSession {
 public:
  // `path` is that of its temporary file, without an extension: unnamed, those of all sessions are
  // called the same.
  UsedSession(bool isAddressSession, std::string path)
      : isAddressSession_(isAddressSession), path_(std::move(path)) {
    EXPECT_EQ((isAddressSession ? AD_Initialize : ML_Initialize)(&session_), RESULT_OK);
    // Of two opens one is closed, so that the copy stays until Terminate.
    HandleNode* closed = nullptr;
    if (!isAddressSession_) return;
    EXPECT_EQ(AD_OpenAddressBook(session_, nullptr, nullptr, &keptBook_), RESULT_OK);
    EXPECT_EQ(AD_OpenAddressBook(session_, nullptr, nullptr, &closed), RESULT_OK);
    EXPECT_EQ(AD_CloseAddressBook(session_, nullptr, nullptr, closed), RESULT_OK);
  }

  void Use() {
    if (isAddressSession_) {
      ReadBookAgain();
    } else {
      ReadMail();
    }
  }

  void End(bool byMailFunction) {
    EXPECT_EQ((byMailFunction ? ML_Terminate : AD_Terminate)(session_), RESULT_OK);
    EXPECT_EQ(ReadFile(path_ + ".txt"), "") << "its temporary files go with it";
  }

 private:
  void ReadBookAgain() {
    std::int32_t count = 0;
    EXPECT_EQ(AD_GetAddressCount(session_, keptBook_, &count), RESULT_OK);
    EXPECT_EQ(count, 5);
    EXPECT_EQ(AD_CloseAddressBook(session_, nullptr, nullptr, keptBook_), RESULT_OK);
    EXPECT_EQ(AD_OpenAddressBook(session_, nullptr, nullptr, &keptBook_), RESULT_OK);
    HandleNode* address = nullptr;
    EXPECT_EQ(AD_GetAddress(session_, keptBook_, 4, &address), RESULT_OK);
    EXPECT_EQ(AskText([&](ResultString* text) { return AD_GetName(session_, address, text); }),
              (TextAnswer{RESULT_OK, "N-e"}));
  }

  void ReadMail() {
    EXPECT_EQ(ReadFile(path_ + ".txt"), useCount_++ == 0 ? "" : TEXT) << "others end without it";
    std::int32_t count = 0;
    HandleNode* user = nullptr;
    HandleNode* cabinet = nullptr;
    HandleNode* folder = nullptr;
    EXPECT_EQ(ML_GetUserCount(session_, &count), RESULT_OK);
    EXPECT_EQ(ML_GetUser(session_, 0, &user), RESULT_OK);
    EXPECT_EQ(ML_GetChildFolder(session_, user, 0, &cabinet), RESULT_OK);
    EXPECT_EQ(ML_GetChildFolder(session_, cabinet, 0, &folder), RESULT_OK);
    ASSERT_EQ(ML_OpenMailDataFile(session_, folder), RESULT_OK);
    EXPECT_EQ(AskText([&](ResultString* t) { return ML_GetMailSubject(session_, folder, 0, t); }),
              (TextAnswer{RESULT_OK, "Subject"}));
    const std::u16string name(path_.begin(), path_.end());
    EXPECT_EQ(ML_SetTempFileName(session_, AsArgument(name.c_str())), RESULT_OK);
    EXPECT_EQ(AskText([&](ResultString* text) {
                return ML_GetMailBodyPath(session_, folder, 0, 0, text);
              }),
              (TextAnswer{RESULT_OK, path_ + ".txt"}));
    EXPECT_EQ(ReadFile(path_ + ".txt"), TEXT);
    EXPECT_EQ(ML_CloseMailDataFile(session_, folder), RESULT_OK);
  }

  // As the plug-in writes it.
  inline static const std::string TEXT{"text\0", 5};

  bool isAddressSession_;
  HandleNode* session_ = nullptr;
  HandleNode* keptBook_ = nullptr;
  std::string path_;
  int useCount_ = 0;
};

// Two sessions of each kind, opened in both orders and closed in every order by either function.
TEST(AddressExports, LiveSideBySideWithOtherSessions) {
  const json cabinets = json::parse(R"([{"number": 1, "name": "C", "folders": [
      {"number": 1, "name": "F", "mails": [
        {"kind": 22, "title": "Subject", "columns": {"TextData": "text"}}]}]}])");
  const AddressBookStore store(SmallBook(), {}, nullptr, cabinets);
  std::array<std::size_t, 4> order = {0, 1, 2, 3};
  int round = 0;
  do {
    const bool addressFirst = ++round % 2 == 0;
    const tests::TestDirectory directory;
    std::vector<UsedSession> sessions;
    for (int i = 0; i < 4; ++i) {
      sessions.emplace_back((i % 2 == 0) == addressFirst,
                            (directory.path() / std::to_string(i)).string());
    }
    for (std::size_t closed = 0; closed < order.size(); ++closed) {
      for (std::size_t i = closed; i < order.size(); ++i)
        sessions[order[i]].Use();
      sessions[order[closed]].End((round + static_cast<int>(closed)) % 3 == 0);
    }
  } while (std::ranges::next_permutation(order).found);
  UsedSession last(true, "none");
  last.Use();
  last.End(true);
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
  EXPECT_EQ(session.Name(node), (TextAnswer{RESULT_OK, "G100000"}));
  EXPECT_EQ(session.Value(session.Address(node, 0), 0), (TextAnswer{RESULT_OK, "x"}));
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
  ASSERT_EQ(session.AddressCount(book), (NumberAnswer{RESULT_OK, ADDRESSES}));
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
