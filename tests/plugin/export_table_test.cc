// Every export of the library is called with handles of every kind in every place, and without a
// place for its result; from one table.
#include <algorithm>
#include <optional>
#include <set>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "common/process_environment.h"
#include "common/test_directory.h"
#include "mkstore/store_writer.h"
#include "nimport/nimport.h"

namespace {

// The kinds of handles, in the order of the columns below.
constexpr const char* KINDS[] = {"null",         "session",      "user",   "account",
                                 "cabinet",      "open cabinet", "folder", "open folder",
                                 "address book", "group",        "address"};

constexpr NimportChar16 SOME_NAME[] = {'F', 'N', 0};

// A place for a result of any type, or null.
class Place {
 public:
  explicit Place(bool isGiven) : isGiven_(isGiven) {}
  ~Place() {
    if (text_.release != nullptr) text_.release(text_.buffer);
  }
  Place(const Place&) = delete;
  Place& operator=(const Place&) = delete;

  operator ResultString*() { return Ask(&text_); }
  operator std::int32_t*() { return Ask(&number_); }
  operator HandleNode**() { return Ask(&handle_); }
  const NimportChar16* Name() { return Ask(SOME_NAME); }

  [[nodiscard]] bool IsAskedFor() const { return isAskedFor_; }
  [[nodiscard]] bool IsWritten() const {
    return text_.buffer != nullptr || number_ != 77 || handle_ != untouched_;
  }
  [[nodiscard]] std::int32_t number() const { return number_; }

 private:
  template <typename T>
  T* Ask(T* place) {
    isAskedFor_ = true;
    return isGiven_ ? place : nullptr;
  }

  HandleNode* const untouched_ = reinterpret_cast<HandleNode*>(this);

  ResultString text_{nullptr, ENCODING_CODE_PAGE_932, 0, nullptr};
  std::int32_t number_ = 77;
  HandleNode* handle_ = untouched_;
  bool isGiven_;
  bool isAskedFor_ = false;
};

using Call = ResultCode (*)(HandleNode* s, HandleNode* n, Place& out);
#define EXPORT(name, ...)                                                     \
#name, []([[maybe_unused]] HandleNode * s, [[maybe_unused]] HandleNode * n, \
            [[maybe_unused]] Place & out) -> ResultCode { return name(__VA_ARGS__); }

constexpr std::size_t SESSION = 1;
constexpr std::size_t ADDRESS = std::size(KINDS) - 1;

// For each kind of handle in the place of `n` a sign: '.' is success, '2' and '3' are codes, '0' is
// success without a result.
constexpr const char* ANY = "...........";
constexpr const char* USERS = "..........3";
constexpr const char* NO_USER = ".3333333333";
constexpr const char* MAILS = "3333222.333";
constexpr const char* FILES = "3333202.333";
constexpr const char* GROUPS = "33333333..3";
constexpr const char* BOOKS = "33333333.33";
constexpr const char* ADDRESSES = "3333333333.";

struct Row {
  const char* name;
  Call call;
  const char* own;  // in a session of the export's own side; empty: ends the session
  // In one of the other side: the same where nothing stands, and '3' where REFUSED does for '.'.
  const char* other = "";
};
constexpr const char* REFUSED = "x";
constexpr const char* NOT_CALLED = "-";

const Row ROWS[] = {
    {EXPORT(ML_Terminate, s), ""},
    {EXPORT(AD_Terminate, s), ""},
    {EXPORT(ML_GetMailerName, s, out), ANY},
    {EXPORT(AD_GetMailerName, s, out), ANY},
    {EXPORT(ML_GetUserCount, s, out), ANY},
    {EXPORT(ML_GetUser, s, 0, out), ANY},
    {EXPORT(ML_GetAccountCount, s, n, out), ANY},
    {EXPORT(ML_GetAccount, s, n, 0, out), USERS},
    {EXPORT(ML_GetName, s, n, out), "33......333", "33..3333333"},
    {EXPORT(AD_GetUserCount, s, out), ANY},
    {EXPORT(AD_GetUser, s, 0, out), ANY},
    {EXPORT(AD_GetAccountCount, s, n, out), NO_USER},
    {EXPORT(AD_GetAccount, s, n, 0, out), NO_USER},
    {EXPORT(ML_GetChildFolderCount, s, n, out), "33.........", REFUSED},
    {EXPORT(ML_GetChildFolder, s, n, 0, out), "33....33..3", REFUSED},
    {EXPORT(ML_OpenMailDataFile, s, n), "3333....333", "3333..3.333"},
    {EXPORT(ML_CloseMailDataFile, s, n), "3333....333", "3333.3.3333"},
    {EXPORT(ML_GetMailCount, s, n, out), "33332.2.333", "33332.23333"},
    {EXPORT(ML_GetMailSubject, s, n, 0, out), MAILS, REFUSED},
    {EXPORT(ML_GetMailFrom, s, n, 0, out), MAILS, REFUSED},
    {EXPORT(ML_GetMailTo, s, n, 0, out), MAILS, REFUSED},
    {EXPORT(ML_GetMailMessageID, s, n, 0, out), MAILS, REFUSED},
    {EXPORT(ML_GetMailContentType, s, n, 0, 0, out), MAILS, REFUSED},
    {EXPORT(ML_GetMailDate, s, n, 0, out), MAILS, REFUSED},
    {EXPORT(ML_GetMailTimeStamp, s, n, 0, out), MAILS, REFUSED},
    {EXPORT(ML_GetMailSource, s, n, 0, out), MAILS, REFUSED},
    {EXPORT(ML_SetTempFileName, s, out.Name()), ANY},
    {EXPORT(ML_GetMailBodyCount, s, n, 0, out), MAILS, REFUSED},
    {EXPORT(ML_GetMailBodyPath, s, n, 0, 0, out), FILES, REFUSED},
    {EXPORT(ML_GetAttachedMailCount, s, n, 0, out), MAILS, REFUSED},
    {EXPORT(ML_GetAttachedMailPath, s, n, 0, 0, out), FILES, REFUSED},
    {EXPORT(AD_OpenAddressBook, s, n, n, out), ANY, NOT_CALLED},
    {EXPORT(AD_CloseAddressBook, s, nullptr, nullptr, n), BOOKS, "3.........."},
    {EXPORT(AD_GetChildGroupCount, s, n, out), GROUPS, REFUSED},
    {EXPORT(AD_GetChildGroup, s, n, 0, out), GROUPS, REFUSED},
    {EXPORT(AD_GetAddressCount, s, n, out), GROUPS, REFUSED},
    {EXPORT(AD_GetAddress, s, n, 0, out), GROUPS, REFUSED},
    {EXPORT(AD_GetName, s, n, out), ".3333333...", ".3333333.33"},
    {EXPORT(AD_GetId, s, n, out), ADDRESSES, REFUSED},
    {EXPORT(AD_GetFieldCount, s, n, out), BOOKS, REFUSED},
    {EXPORT(AD_GetFieldName, s, n, 0, out), BOOKS, REFUSED},
    {EXPORT(AD_GetFieldLabel, s, n, 0, out), BOOKS, REFUSED},
    {EXPORT(AD_GetFieldIndex, s, n, SOME_NAME, out), BOOKS, REFUSED},
    {EXPORT(AD_GetValue, s, n, 0, out), ADDRESSES, REFUSED},
};

// What looks at no session: the code and the number written, with a place for it and without.
struct FixedRow {
  const char* name;
  Call call;
  ResultCode code;
  std::optional<std::int32_t> written;
  ResultCode codeWithoutPlace = RESULT_INVALID;
};

const FixedRow FIXED_ROWS[] = {
    {EXPORT(QV_GetVersion), 4, {}, 4},
    {EXPORT(ML_IsExistMailer, out), RESULT_OK, 1},
    {EXPORT(AD_IsExistMailer, n, out), RESULT_OK, 1},
    {EXPORT(ML_GetMailerOption, s, n, out), RESULT_OK, 0},
    {EXPORT(ML_IsExistPassword, s, n, out), RESULT_OK, 0},
    {EXPORT(AD_GetMailerOption, s, n, out), RESULT_OK, 0},
    {EXPORT(AD_GetSubValueCount, s, n, 0, out), RESULT_OK, 0},
    {EXPORT(ML_CheckAccessPrivilege, s, n, n, out), RESULT_OK, 1},
    {EXPORT(AD_CheckAccessPrivilege, s, n, n, out), RESULT_INVALID, 1},
    {EXPORT(ML_SetOption), RESULT_INVALID, {}},
    {EXPORT(ML_OptionDialog), RESULT_INVALID, {}},
    {EXPORT(ML_OptionDialogEx), RESULT_INVALID, {}},
    {EXPORT(AD_OptionDialog), RESULT_INVALID, {}},
    {EXPORT(AD_GetSubValue), RESULT_INVALID, {}},
};

// A session of either side and a handle of every kind.
class Handles {
 public:
  Handles() {
    EXPECT_EQ(ML_Initialize(&mails), RESULT_OK);
    EXPECT_EQ(AD_Initialize(&addresses), RESULT_OK);
    const auto child = [this](HandleNode* parent) {
      HandleNode* found = nullptr;
      EXPECT_EQ(ML_GetChildFolder(mails, parent, 0, &found), RESULT_OK);
      return found;
    };
    std::int32_t count = 0;
    EXPECT_EQ(ML_GetUserCount(mails, &count), RESULT_OK);
    EXPECT_EQ(ML_GetUser(mails, 0, &of[2]), RESULT_OK);
    EXPECT_EQ(ML_GetAccount(mails, of[2], 0, &of[3]), RESULT_OK);
    of[4] = child(of[2]);
    of[5] = child(of[2]);
    of[6] = child(of[4]);
    of[7] = child(of[4]);
    EXPECT_EQ(ML_OpenMailDataFile(mails, of[5]), RESULT_OK);
    EXPECT_EQ(ML_OpenMailDataFile(mails, of[7]), RESULT_OK);
    // Two books, so that the group and the address stay when theirs is closed.
    HandleNode* book = nullptr;
    EXPECT_EQ(AD_OpenAddressBook(addresses, nullptr, nullptr, &book), RESULT_OK);
    EXPECT_EQ(AD_OpenAddressBook(addresses, nullptr, nullptr, &of[8]), RESULT_OK);
    EXPECT_EQ(AD_GetChildGroup(addresses, book, 0, &of[9]), RESULT_OK);
    EXPECT_EQ(AD_GetAddress(addresses, of[9], 0, &of[10]), RESULT_OK);
  }
  ~Handles() {
    EXPECT_EQ(ML_Terminate(mails), RESULT_OK);
    EXPECT_EQ(AD_Terminate(addresses), RESULT_OK);
  }
  Handles(const Handles&) = delete;
  Handles& operator=(const Handles&) = delete;

  HandleNode* mails = nullptr;
  HandleNode* addresses = nullptr;
  HandleNode* of[std::size(KINDS)] = {};  // but for the session
};

class ExportTable : public testing::Test {
 protected:
  ExportTable() {
    const auto store = nimport::mkstore::MakeStore(nlohmann::json::parse(R"({
          "cabinets": [{"number": 1, "name": "C", "folders": [{"number": 1, "name": "F", "mails": [
            {"kind": 19, "title": "T", "date": "1998-01-02",
             "storedFile": {"path": "C:\\f.txt", "contents": "x"}}]}]}],
          "addressBook": [{"name": "G", "members": [
            {"name": "H", "members": []}, {"name": "N", "userId": "x", "comment": "c"}]}]})"),
                                                   directory_.path());
    nimport::tests::SetVariable("NIMPORT_REGISTRY", store.RegistryVariable());
    nimport::tests::SetVariable("NIMPORT_DRIVES", store.DrivesVariable());
  }

  // Makes a call whose answer has this sign.
  static void Expect(char sign, const Row& row, HandleNode* session, HandleNode* node) {
    const ResultCode code = sign == '2'   ? RESULT_DATABASE
                            : sign == '3' ? RESULT_INVALID
                                          : RESULT_OK;
    // It looks at the place first, and clears the number there.
    const bool isCount = row.name == std::string("ML_GetMailCount");
    Place out(true);
    EXPECT_EQ(row.call(session, node, out), code);
    EXPECT_EQ(out.IsWritten(), (sign == '.' || isCount) && out.IsAskedFor() && !IsInput(row));
    if (isCount && sign != '.') {
      EXPECT_EQ(out.number(), 0);
    }
    if (!out.IsAskedFor()) return;
    Place none(false);
    EXPECT_EQ(row.call(session, node, none), sign == '.' || isCount ? RESULT_INVALID : code)
        << "no place";
  }

 private:
  static bool IsInput(const Row& row) { return row.name == std::string("ML_SetTempFileName"); }

  nimport::tests::TestDirectory directory_;
};

TEST_F(ExportTable, HandlesOfEveryKindInTheSecondPlace) {
  for (const Row& row : ROWS) {
    if (*row.own == '\0') continue;
    for (const bool isOwn : {true, false}) {
      std::string answers = isOwn || *row.other == '\0' ? row.own : row.other;
      if (answers == NOT_CALLED) continue;
      if (answers == REFUSED) {
        answers = row.own;
        std::ranges::replace(answers, '.', '3');
      }
      const Handles handles;
      const bool isOfMails = (row.name[0] == 'M') == isOwn;
      HandleNode* const session = isOfMails ? handles.mails : handles.addresses;
      for (std::size_t kind = 0; kind < std::size(KINDS); ++kind) {
        SCOPED_TRACE(std::string(row.name) + (isOwn ? ", " : ", other session, ") + KINDS[kind]);
        Expect(answers[kind], row, session, kind == SESSION ? session : handles.of[kind]);
      }
    }
  }
}

TEST_F(ExportTable, OtherHandlesInThePlaceOfTheSession) {
  const Handles handles;
  for (const Row& row : ROWS) {
    // One that would be accepted.
    const std::size_t node = std::min(std::string(row.own).find('.'), ADDRESS);
    // These ask only that there is a handle, and hang the new one beneath it.
    const bool takesAny =
        row.name == std::string("ML_GetUser") || row.name == std::string("ML_GetAccount");
    for (std::size_t kind = 0; kind < std::size(KINDS); ++kind) {
      if (kind == SESSION) continue;
      SCOPED_TRACE(std::string(row.name) + ", " + KINDS[kind]);
      Expect(takesAny && kind != 0 && kind != ADDRESS ? '.' : '3', row, handles.of[kind],
             handles.of[node]);
    }
  }
}

TEST_F(ExportTable, FixedAnswers) {
  for (const FixedRow& row : FIXED_ROWS) {
    Place out(true);
    EXPECT_EQ(row.call(nullptr, nullptr, out), row.code) << row.name;
    EXPECT_EQ(out.IsWritten(), row.written.has_value()) << row.name;
    if (row.written) {
      EXPECT_EQ(out.number(), *row.written) << row.name;
    }
    Place none(false);
    EXPECT_EQ(row.call(nullptr, nullptr, none), row.codeWithoutPlace) << row.name;
  }
  EXPECT_EQ(ML_Initialize(nullptr), RESULT_INVALID);
  EXPECT_EQ(AD_Initialize(nullptr), RESULT_INVALID);
}

TEST(ExportTableItself, HasEveryExport) {
  std::set<std::string> names = {"ML_Initialize", "AD_Initialize"};
  for (const Row& row : ROWS)
    names.insert(row.name);
  for (const FixedRow& row : FIXED_ROWS)
    names.insert(row.name);
  EXPECT_EQ(names.size(), 60u);
}

}  // namespace
