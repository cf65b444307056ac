// Opening and closing of folders, and what a session remembers meanwhile.
#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "plugin/session_fixture.h"

namespace nimport::test {
namespace {

using nlohmann::json;

json TextMail(int kind, const char* title) {
  return {{"kind", kind},
          {"title", title},
          {"date", "1998-01-02T03:04:05"},
          {"columns", {{"ToField", "QZB04567"}, {"TextData", "text"}}}};
}

// Two cabinets; the first has two folders.
json TwoCabinets() {
  json unlisted = {{"kind", 18}, {"title", "not listed"}};
  return {{"cabinets",
           {{{"number", 1},
             {"name", "A"},
             {"folders",
              {{{"number", 10},
                {"name", "A1"},
                {"mails", {TextMail(22, "one"), unlisted, TextMail(26, "two")}}},
               {{"number", 11}, {"name", "A2"}, {"mails", {TextMail(22, "three")}}}}}},
            {{"number", 2}, {"name", "B"}, {"folders", {{{"number", 12}, {"name", "B1"}}}}}}}};
}

class MailList : public SessionTest {
 protected:
  MailList() {
    store_ = UseStore(TwoCabinets());
    session_ = std::make_unique<MailSession>();
    HandleNode* user = session_->User();
    cabinet_ = session_->Child(user, 0);
    first_ = session_->Child(cabinet_, 0);
    second_ = session_->Child(cabinet_, 1);
  }

  ResultCode Open(HandleNode* node) { return ML_OpenMailDataFile(session_->get(), node); }
  ResultCode Close(HandleNode* node) { return ML_CloseMailDataFile(session_->get(), node); }
  NumberAnswer Count(HandleNode* node) { return session_->Number(ML_GetMailCount, node); }
  TextAnswer Subject(HandleNode* node, std::int32_t mail) {
    return session_->Text(ML_GetMailSubject, node, mail);
  }

  mkstore::Store store_;
  std::unique_ptr<MailSession> session_;
  HandleNode* cabinet_;
  HandleNode* first_;
  HandleNode* second_;
};

TEST_F(MailList, OfManyCabinetsWithOneNumberCostsWhatItsRowsCost) {
  // 2,250,000 folders of 3,000 rows.
  constexpr std::int32_t ROWS = 1500;
  json store = {{"cabinets", json::array()}, {"folders", json::array()}};
  for (std::int32_t i = 1; i <= ROWS; ++i) {
    store["cabinets"].push_back({{"number", 7}, {"name", "C" + std::to_string(i)}});
    store["folders"].push_back({{"number", i}, {"cabinet", 7}, {"name", "F" + std::to_string(i)}});
  }
  store["mails"] = {{{"folder", ROWS}, {"kind", 22}, {"title", "one"}}};
  UseStore(store);
  const auto begin = std::chrono::steady_clock::now();
  MailSession session;
  HandleNode* user = session.User();
  for (const std::int32_t c : {0, ROWS - 1}) {
    HandleNode* cabinet = session.Child(user, c);
    EXPECT_EQ(session.Number(ML_GetChildFolderCount, cabinet).value, ROWS);
    HandleNode* folder = session.Child(cabinet, ROWS - 1);
    EXPECT_EQ(session.Child(cabinet, ROWS), nullptr);
    EXPECT_EQ(session.Text(ML_GetName, folder), (TextAnswer{RESULT_OK, "F1500"}));
    // Each is a folder of its own.
    EXPECT_EQ(ML_OpenMailDataFile(session.get(), folder), RESULT_OK);
    EXPECT_EQ(session.Number(ML_GetMailCount, folder).value, 1);
    if (c == 0) ML_CloseMailDataFile(session.get(), folder);
  }
  HandleNode* sameRow = session.Child(session.Child(user, 0), ROWS - 1);
  EXPECT_EQ(ML_OpenMailDataFile(session.get(), sameRow), RESULT_INVALID);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
}

TEST_F(MailList, FoldersAreFirstLookedAtForACabinet) {
  json store = TwoCabinets();
  for (const bool hasCabinets : {true, false}) {
    if (!hasCabinets) store["cabinets"] = json::array();
    const std::string path = (UseStore(store).databaseDirectory / "Cabdata.mdb").string();
    // The list of objects names the table of folders otherwise.
    std::string bytes = ReadFile(path);
    for (std::size_t at = bytes.find("FolderTBL"); at != std::string::npos;
         at = bytes.find("FolderTBL", at)) {
      bytes[at] = 'X';
    }
    std::ofstream(path, std::ios::binary) << bytes;
    MailSession session;
    EXPECT_EQ(session.Number(ML_GetUserCount).code, hasCabinets ? RESULT_DATABASE : RESULT_OK);
    EXPECT_EQ(session.Number(ML_GetChildFolderCount, session.User()).value, hasCabinets ? 1 : 0);
  }
}

TEST_F(MailList, CountsTheListedKindsOfAnOpenFolder) {
  EXPECT_EQ(Count(first_), (NumberAnswer{RESULT_DATABASE, 0}));
  EXPECT_EQ(Open(first_), RESULT_OK);
  EXPECT_EQ(Count(first_), (NumberAnswer{RESULT_OK, 2}));
  EXPECT_EQ(Subject(first_, 1).text, "two");
  for (const std::int32_t mail : {2, -1}) {
    EXPECT_EQ(Subject(first_, mail).code, RESULT_DATABASE) << mail;
  }
}

TEST_F(MailList, OneFolderIsOpenAtATime) {
  EXPECT_EQ(Open(first_), RESULT_OK);
  EXPECT_EQ(Open(first_), RESULT_OK);
  EXPECT_EQ(Open(second_), RESULT_INVALID);
  EXPECT_EQ(Close(first_), RESULT_OK);
  EXPECT_EQ(Open(second_), RESULT_OK);
  EXPECT_EQ(Subject(second_, 0).text, "three");
  EXPECT_EQ(Subject(first_, 0).code, RESULT_DATABASE);
}

TEST_F(MailList, HandlesOfOneFolderShareItsList) {
  HandleNode* again = session_->Child(cabinet_, 0);
  ASSERT_NE(again, first_);
  EXPECT_EQ(Open(first_), RESULT_OK);
  EXPECT_EQ(Count(again).code, RESULT_DATABASE);
  EXPECT_EQ(Open(again), RESULT_OK);
  EXPECT_EQ(Close(first_), RESULT_OK);
  EXPECT_EQ(Count(again), (NumberAnswer{RESULT_OK, 0}));
  EXPECT_EQ(Close(again), RESULT_OK);
}

TEST_F(MailList, ClosingACabinetForgetsTheCurrentMail) {
  EXPECT_EQ(Open(cabinet_), RESULT_OK);
  EXPECT_EQ(Count(cabinet_), (NumberAnswer{RESULT_OK, 0}));
  EXPECT_EQ(Subject(cabinet_, 0).code, RESULT_DATABASE);
  EXPECT_EQ(Open(first_), RESULT_OK);
  EXPECT_EQ(Subject(first_, 0).code, RESULT_OK);
  EXPECT_EQ(Close(cabinet_), RESULT_OK);
  // The value cannot be remembered any more, and no other folder can be opened until this one is
  // closed.
  EXPECT_EQ(Subject(first_, 0).code, RESULT_INVALID);
  EXPECT_EQ(Open(second_), RESULT_INVALID);
  EXPECT_EQ(Close(first_), RESULT_OK);
  EXPECT_EQ(Open(second_), RESULT_OK);
}

TEST_F(MailList, ClosingWhatIsNotOpenDoesNothing) {
  EXPECT_EQ(Open(first_), RESULT_OK);
  EXPECT_EQ(Close(second_), RESULT_OK);
  EXPECT_EQ(Subject(first_, 0).code, RESULT_OK);
}

TEST_F(MailList, AFailedOpenLeavesNothingBehind) {
  // A file that has changed is read again.
  const std::filesystem::path database = store_.databaseDirectory / "Cabdata.mdb";
  std::filesystem::last_write_time(
      database, std::filesystem::last_write_time(database) + std::chrono::seconds(10));
  platform.faultyFiles.faults.FailAlways(tests::FileOperation::Read);
  EXPECT_EQ(Open(first_), RESULT_DATABASE);
  EXPECT_EQ(Count(first_), (NumberAnswer{RESULT_DATABASE, 0}));
  platform.faultyFiles.faults.Clear();
  EXPECT_EQ(Open(second_), RESULT_OK);
  EXPECT_EQ(Count(second_), (NumberAnswer{RESULT_OK, 1}));
}

}  // namespace
}  // namespace nimport::test
