// Every export is called with null handles, with handles of every kind in every place, and without
// a place for its result; from one table.
#include <array>
#include <cstddef>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "nimport/nimport.h"

namespace {

enum Kind { Session, User, Account, Cabinet, Folder, AddressBook, Group, Address, KIND_COUNT };
constexpr std::array<const char*, KIND_COUNT> KIND_NAMES = {
    "session", "user", "account", "cabinet", "folder", "address book", "group", "address"};

// A record that looks like a handle of some kind and belongs to no session: the kind comes first in
// a handle, everything else is empty.
class LooseHandle {
 public:
  explicit LooseHandle(std::int32_t kind) { std::memcpy(bytes_.data(), &kind, sizeof kind); }
  HandleNode* get() { return reinterpret_cast<HandleNode*>(bytes_.data()); }

 private:
  alignas(16) std::array<std::byte, 256> bytes_{};
};

// The arguments that the table's calls share.
struct Arguments {
  HandleNode* session = nullptr;
  HandleNode* node = nullptr;
  bool hasOut = true;

  std::int32_t number = 77;
  HandleNode* handle = nullptr;
  ResultString text{nullptr, ENCODING_CODE_PAGE_932, 0, nullptr};

  std::int32_t* Number() { return hasOut ? &number : nullptr; }
  HandleNode** Handle() { return hasOut ? &handle : nullptr; }
  ResultString* Text() { return hasOut ? &text : nullptr; }
};

enum class SecondHandle { None, Required, NotRead, MustBeNull, Optional };

struct ExportRow {
  const char* name;
  SecondHandle second;
  std::set<int> secondKinds;  // accepted in the second place
  bool hasOut;
  std::function<ResultCode(Arguments&)> call;
};

constexpr NimportChar16 SOME_NAME[] = {'F', 'N', 0};

const std::vector<ExportRow>& SessionExports() {
  using S = SecondHandle;
  static const std::vector<ExportRow> rows = {
      {"ML_Terminate", S::None, {}, false, [](Arguments& a) { return ML_Terminate(a.session); }},
      {"AD_Terminate", S::None, {}, false, [](Arguments& a) { return AD_Terminate(a.session); }},
      {"ML_GetMailerName",
       S::None,
       {},
       true,
       [](Arguments& a) { return ML_GetMailerName(a.session, a.Text()); }},
      {"AD_GetMailerName",
       S::None,
       {},
       true,
       [](Arguments& a) { return AD_GetMailerName(a.session, a.Text()); }},
      {"ML_GetUserCount",
       S::None,
       {},
       true,
       [](Arguments& a) { return ML_GetUserCount(a.session, a.Number()); }},
      {"ML_GetAccountCount",
       S::NotRead,
       {},
       true,
       [](Arguments& a) { return ML_GetAccountCount(a.session, a.node, a.Number()); }},
      {"AD_GetUserCount",
       S::None,
       {},
       true,
       [](Arguments& a) { return AD_GetUserCount(a.session, a.Number()); }},
      {"AD_GetUser",
       S::None,
       {},
       true,
       [](Arguments& a) { return AD_GetUser(a.session, 0, a.Handle()); }},
      {"AD_GetAccountCount",
       S::MustBeNull,
       {},
       true,
       [](Arguments& a) { return AD_GetAccountCount(a.session, a.node, a.Number()); }},
      {"AD_GetAccount",
       S::MustBeNull,
       {},
       true,
       [](Arguments& a) { return AD_GetAccount(a.session, a.node, 0, a.Handle()); }},
      {"ML_GetName",
       S::Required,
       {User, Account, Cabinet, Folder},
       true,
       [](Arguments& a) { return ML_GetName(a.session, a.node, a.Text()); }},
      {"ML_GetChildFolderCount",
       S::Required,
       {User, Account, Cabinet, Folder, AddressBook, Group, Address},
       true,
       [](Arguments& a) { return ML_GetChildFolderCount(a.session, a.node, a.Number()); }},
      {"ML_GetChildFolder",
       S::Required,
       {User, Account, Cabinet, Folder, AddressBook, Group, Address},
       true,
       [](Arguments& a) { return ML_GetChildFolder(a.session, a.node, 0, a.Handle()); }},
      {"ML_OpenMailDataFile",
       S::Required,
       {Cabinet, Folder},
       false,
       [](Arguments& a) { return ML_OpenMailDataFile(a.session, a.node); }},
      {"ML_CloseMailDataFile",
       S::Required,
       {Cabinet, Folder},
       false,
       [](Arguments& a) { return ML_CloseMailDataFile(a.session, a.node); }},
      {"ML_GetMailCount",
       S::Required,
       {Cabinet, Folder},
       true,
       [](Arguments& a) { return ML_GetMailCount(a.session, a.node, a.Number()); }},
      {"ML_GetMailSubject",
       S::Required,
       {Cabinet, Folder},
       true,
       [](Arguments& a) { return ML_GetMailSubject(a.session, a.node, 0, a.Text()); }},
      {"ML_GetMailFrom",
       S::Required,
       {Cabinet, Folder},
       true,
       [](Arguments& a) { return ML_GetMailFrom(a.session, a.node, 0, a.Text()); }},
      {"ML_GetMailTo",
       S::Required,
       {Cabinet, Folder},
       true,
       [](Arguments& a) { return ML_GetMailTo(a.session, a.node, 0, a.Text()); }},
      {"ML_GetMailMessageID",
       S::Required,
       {Cabinet, Folder},
       true,
       [](Arguments& a) { return ML_GetMailMessageID(a.session, a.node, 0, a.Text()); }},
      {"ML_GetMailContentType",
       S::Required,
       {Cabinet, Folder},
       true,
       [](Arguments& a) { return ML_GetMailContentType(a.session, a.node, 0, 0, a.Text()); }},
      {"ML_GetMailDate",
       S::Required,
       {Cabinet, Folder},
       true,
       [](Arguments& a) { return ML_GetMailDate(a.session, a.node, 0, a.Number()); }},
      {"ML_GetMailTimeStamp",
       S::Required,
       {Cabinet, Folder},
       true,
       [](Arguments& a) { return ML_GetMailTimeStamp(a.session, a.node, 0, a.Number()); }},
      {"ML_GetMailSource",
       S::Required,
       {Cabinet, Folder},
       true,
       [](Arguments& a) { return ML_GetMailSource(a.session, a.node, 0, a.Text()); }},
      {"ML_SetTempFileName",
       S::None,
       {},
       true,
       [](Arguments& a) { return ML_SetTempFileName(a.session, a.hasOut ? SOME_NAME : nullptr); }},
      {"ML_GetMailBodyCount",
       S::Required,
       {Cabinet, Folder},
       true,
       [](Arguments& a) { return ML_GetMailBodyCount(a.session, a.node, 0, a.Number()); }},
      {"ML_GetMailBodyPath",
       S::Required,
       {Cabinet, Folder},
       true,
       [](Arguments& a) { return ML_GetMailBodyPath(a.session, a.node, 0, 0, a.Text()); }},
      {"ML_GetAttachedMailCount",
       S::Required,
       {Cabinet, Folder},
       true,
       [](Arguments& a) { return ML_GetAttachedMailCount(a.session, a.node, 0, a.Number()); }},
      {"ML_GetAttachedMailPath",
       S::Required,
       {Cabinet, Folder},
       true,
       [](Arguments& a) { return ML_GetAttachedMailPath(a.session, a.node, 0, 0, a.Text()); }},
      {"AD_OpenAddressBook",
       S::NotRead,
       {},
       true,
       [](Arguments& a) { return AD_OpenAddressBook(a.session, a.node, a.node, a.Handle()); }},
      {"AD_CloseAddressBook",
       S::Required,
       {AddressBook},
       false,
       [](Arguments& a) { return AD_CloseAddressBook(a.session, nullptr, nullptr, a.node); }},
      {"AD_GetChildGroupCount",
       S::Required,
       {AddressBook, Group},
       true,
       [](Arguments& a) { return AD_GetChildGroupCount(a.session, a.node, a.Number()); }},
      {"AD_GetChildGroup",
       S::Required,
       {AddressBook, Group},
       true,
       [](Arguments& a) { return AD_GetChildGroup(a.session, a.node, 0, a.Handle()); }},
      {"AD_GetAddressCount",
       S::Required,
       {AddressBook, Group},
       true,
       [](Arguments& a) { return AD_GetAddressCount(a.session, a.node, a.Number()); }},
      {"AD_GetAddress",
       S::Required,
       {AddressBook, Group},
       true,
       [](Arguments& a) { return AD_GetAddress(a.session, a.node, 0, a.Handle()); }},
      {"AD_GetName",
       S::Optional,
       {AddressBook, Group, Address},
       true,
       [](Arguments& a) { return AD_GetName(a.session, a.node, a.Text()); }},
      {"AD_GetId",
       S::Required,
       {Address},
       true,
       [](Arguments& a) { return AD_GetId(a.session, a.node, a.Number()); }},
      {"AD_GetFieldCount",
       S::Required,
       {AddressBook},
       true,
       [](Arguments& a) { return AD_GetFieldCount(a.session, a.node, a.Number()); }},
      {"AD_GetFieldName",
       S::Required,
       {AddressBook},
       true,
       [](Arguments& a) { return AD_GetFieldName(a.session, a.node, 0, a.Text()); }},
      {"AD_GetFieldLabel",
       S::Required,
       {AddressBook},
       true,
       [](Arguments& a) { return AD_GetFieldLabel(a.session, a.node, 0, a.Text()); }},
      {"AD_GetFieldIndex",
       S::Required,
       {AddressBook},
       true,
       [](Arguments& a) { return AD_GetFieldIndex(a.session, a.node, SOME_NAME, a.Number()); }},
      {"AD_GetValue",
       S::Required,
       {Address},
       true,
       [](Arguments& a) { return AD_GetValue(a.session, a.node, 0, a.Text()); }},
  };
  return rows;
}

void ExpectNothingWritten(const Arguments& arguments, const char* name) {
  // ML_GetMailCount clears its count before it looks at anything.
  const std::int32_t untouched = std::string(name) == "ML_GetMailCount" ? 0 : 77;
  EXPECT_EQ(arguments.number, arguments.hasOut ? untouched : 77) << name;
  EXPECT_EQ(arguments.handle, nullptr) << name;
  EXPECT_EQ(arguments.text.buffer, nullptr) << name;
}

TEST(ExportTable, RefusesNullAndForeignHandlesInThePlaceOfTheSession) {
  for (const ExportRow& row : SessionExports()) {
    for (int kind = -1; kind < KIND_COUNT; ++kind) {
      if (kind == Session) continue;
      LooseHandle wrong(kind);
      LooseHandle node(row.secondKinds.empty() ? Folder : *row.secondKinds.begin());
      Arguments arguments;
      arguments.session = kind < 0 ? nullptr : wrong.get();
      arguments.node = row.second == SecondHandle::Required ? node.get() : nullptr;
      EXPECT_EQ(row.call(arguments), RESULT_INVALID)
          << row.name << (kind < 0 ? " null" : KIND_NAMES[static_cast<std::size_t>(kind)]);
      ExpectNothingWritten(arguments, row.name);
    }
  }
}

// ML_GetUser and ML_GetAccount ask only that there is a handle, and hang the new one beneath it.
TEST(ExportTable, UsersAndAccountsHangBeneathAnyHandleThatCanHaveChildren) {
  EXPECT_EQ(ML_GetUser(nullptr, 0, nullptr), RESULT_INVALID);
  EXPECT_EQ(ML_GetAccount(nullptr, nullptr, 0, nullptr), RESULT_INVALID);
  LooseHandle address(Address);
  HandleNode* made = nullptr;
  EXPECT_EQ(ML_GetUser(address.get(), 0, &made), RESULT_INVALID);
  EXPECT_EQ(ML_GetAccount(address.get(), nullptr, 0, &made), RESULT_INVALID);
  EXPECT_EQ(made, nullptr);
}

TEST(ExportTable, InitializeClearsItsResultAndRefusesNull) {
  EXPECT_EQ(ML_Initialize(nullptr), RESULT_INVALID);
  EXPECT_EQ(AD_Initialize(nullptr), RESULT_INVALID);
  EXPECT_EQ(ML_IsExistMailer(nullptr), RESULT_INVALID);
  EXPECT_EQ(AD_IsExistMailer(nullptr, nullptr), RESULT_INVALID);
}

TEST(ExportTable, FixedAnswers) {
  struct Row {
    const char* name;
    ResultCode (*call)(std::int32_t*);
    ResultCode code;
    std::int32_t written;
  };
  const Row rows[] = {
      {"ML_GetMailerOption",
       [](std::int32_t* o) { return ML_GetMailerOption(nullptr, nullptr, o); }, 0, 0},
      {"ML_IsExistPassword",
       [](std::int32_t* o) { return ML_IsExistPassword(nullptr, nullptr, o); }, 0, 0},
      {"AD_GetMailerOption",
       [](std::int32_t* o) { return AD_GetMailerOption(nullptr, nullptr, o); }, 0, 0},
      {"AD_GetSubValueCount",
       [](std::int32_t* o) { return AD_GetSubValueCount(nullptr, nullptr, 0, o); }, 0, 0},
      {"ML_CheckAccessPrivilege",
       [](std::int32_t* o) { return ML_CheckAccessPrivilege(nullptr, nullptr, nullptr, o); }, 0, 1},
      {"AD_CheckAccessPrivilege",
       [](std::int32_t* o) { return AD_CheckAccessPrivilege(nullptr, nullptr, nullptr, o); }, -3,
       1},
  };
  for (const Row& row : rows) {
    std::int32_t out = 77;
    EXPECT_EQ(row.call(&out), row.code) << row.name;
    EXPECT_EQ(out, row.written) << row.name;
    EXPECT_EQ(row.call(nullptr), RESULT_INVALID) << row.name;
  }
  EXPECT_EQ(QV_GetVersion(), 4);
  for (const auto refuse :
       {ML_SetOption, ML_OptionDialog, ML_OptionDialogEx, AD_OptionDialog, AD_GetSubValue}) {
    EXPECT_EQ(refuse(), RESULT_INVALID);
  }
}

}  // namespace
