#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

#include "plugin/session_fixture.h"

namespace nimport::test {
namespace {

using mkstore::Store;
using nlohmann::json;

class Session : public SessionTest {
 protected:
  void UseRegistry(const std::string& text) {
    platform.settings["NIMPORT_REGISTRY"] = directory.Write("test.reg", "REGEDIT4\n\n" + text);
  }

  // With the settings that a session needs.
  void UseRegistry(const std::string& directoryHive, const std::string& memberId) {
    const std::string mailer = "\\Software\\NIFTY\\NIFTY Manager\\";
    UseRegistry("[" + directoryHive + mailer +
                "Directory]\n\"DatabaseDir\"=\"C:\\\\NIFTY\\\\Data\"\n" + "[HKEY_CURRENT_USER" +
                mailer + "Session]\n" + memberId);
  }

  ResultCode OpenAndClose() {
    HandleNode* session = reinterpret_cast<HandleNode*>(this);
    const ResultCode code = ML_Initialize(&session);
    EXPECT_EQ(session == nullptr, code != RESULT_OK);
    if (session != nullptr) {
      EXPECT_EQ(ML_Terminate(session), RESULT_OK);
    }
    return code;
  }

  void ExpectNothingLeft(const char* what) {
    EXPECT_EQ(loader.loadedModules, 0) << what;
    EXPECT_EQ(wexmail->openSessions, 0) << what;
    EXPECT_EQ(wexmail->liveAllocations, 0) << what;
  }
};

TEST_F(Session, FailsAsAWholeWhenSomethingIsMissing) {
  Store store;
  const auto overwrite = [&](const std::string& bytes) {
    std::ofstream(store.databaseDirectory / "Cabdata.mdb", std::ios::binary) << bytes;
  };
  const std::string machine = "HKEY_LOCAL_MACHINE";
  tests::FileFaults& faults = platform.faultyFiles.faults;
  const struct {
    const char* what;
    std::function<void()> breakIt;
    const char* reason;  // that diagnostics are to name
  } rows[] = {
      {"library missing", [&] { loader.isMissing = true; }, "MIME library"},
      {"library without MT_Init", [&] { loader.hidden = {"MT_Init"}; }, "MIME library"},
      {"MT_Init answers 0", [&] { wexmail->initResult = 0; }, "MIME library"},
      {"platform family not told", [&] { platform.platformId.reset(); }, "family"},
      {"unknown platform family", [&] { platform.platformId = 3; }, "family"},
      {"empty registry", [&] { UseRegistry(""); }, "DatabaseDir"},
      {"no member ID", [&] { UseRegistry(machine, ""); }, "ID1"},
      {"a long ID", [&] { UseRegistry(machine, "\"ID1\"=\"" + std::string(512, 'A') + "\""); },
       "too long"},
      {"database missing",
       [&] { std::filesystem::remove(store.databaseDirectory / "Cabdata.mdb"); }, "Cabdata.mdb"},
      {"empty database", [&] { overwrite(""); }, "Cabdata.mdb"},
      {"not a database", [&] { overwrite(std::string(100000, 'x')); }, "Cabdata.mdb"},
      {"zeros", [&] { overwrite(std::string(100000, '\0')); }, "Cabdata.mdb"},
      {"not opened", [&] { faults.FailNth(tests::FileOperation::OpenForReading, 1); }, "injected"},
      {"not read", [&] { faults.FailNth(tests::FileOperation::Read, 1); }, "injected"},
  };
  for (const auto& row : rows) {
    store = UseStore(StoreWithMails(json::array()));
    EXPECT_EQ(OpenAndClose(), RESULT_OK) << row.what;
    row.breakIt();
    EXPECT_EQ(OpenAndClose(), RESULT_INVALID) << row.what;
    EXPECT_NE(LastReason().find(row.reason), std::string::npos) << row.what << ": " << LastReason();
    loader.isMissing = false;
    loader.hidden.clear();
    wexmail->initResult = 1;
    platform.platformId = 2;
    faults.Clear();
    ExpectNothingLeft(row.what);
  }
}

TEST_F(Session, ReadsTheDirectoryFromTheHiveOfThePlatformFamily) {
  UseStore(StoreWithMails(json::array()));
  for (const auto& [id, hive] :
       {std::pair(1, "HKEY_CURRENT_USER"), std::pair(2, "HKEY_LOCAL_MACHINE")}) {
    platform.platformId = id;
    UseRegistry(hive, "\"ID1\"=\"QZA00123\"");
    EXPECT_EQ(OpenAndClose(), RESULT_OK) << id;
    platform.platformId = 3 - id;
    EXPECT_EQ(OpenAndClose(), RESULT_INVALID) << id;
  }
}

TEST_F(Session, NeedsNoExecutable) {
  const Store store = UseStore(StoreWithMails(json::array()));
  std::filesystem::remove_all(store.driveC / "NIFTY/Bin");
  EXPECT_EQ(OpenAndClose(), RESULT_OK);
}

TEST_F(Session, MailerExistsFromVersionFiveOn) {
  const std::pair<const char*, std::int32_t> rows[] = {
      {"5, 0, 0, 1", 1}, {"5.10", 1},  {" 12, 1", 1}, {"+5", 1},  {"5e0", 1},
      {"4, 9, 9, 9", 0}, {"4.999", 0}, {"0", 0},      {"", 0},    {"x5", 0},
      {"-6", 0},         {"0x10", 0},  {"inf", 0},    {"nan", 0},
  };
  for (const auto& [version, wanted] : rows) {
    json description = StoreWithMails(json::array());
    description["fileVersion"] = version;
    UseStore(description);
    std::int32_t exists = 77;
    EXPECT_EQ(ML_IsExistMailer(&exists), RESULT_OK) << version;
    EXPECT_EQ(exists, wanted == 1 ? 1 : 77) << version;
    EXPECT_EQ(AD_IsExistMailer(nullptr, &exists), RESULT_OK) << version;
  }
}

TEST_F(Session, KindsOfSessionStandSideBySideAndEitherFunctionEndsThem) {
  UseStore(StoreWithMails(json::array()));
  HandleNode* mail = nullptr;
  HandleNode* book = nullptr;
  ASSERT_EQ(AD_Initialize(&book), RESULT_OK);
  ASSERT_EQ(ML_Initialize(&mail), RESULT_OK);
  EXPECT_EQ(loader.loadedModules, 2);
  std::int32_t count = 0;
  EXPECT_EQ(ML_Terminate(book), RESULT_OK);
  EXPECT_EQ(ML_GetUserCount(mail, &count), RESULT_OK);
  EXPECT_EQ(AD_Terminate(mail), RESULT_OK);
  ExpectNothingLeft("both closed");
}

TEST_F(Session, AnswersTheLevelsAboveTheData) {
  UseStore(StoreWithMails(json::array()));
  MailSession session;
  HandleNode* s = session.get();
  HandleNode* user = nullptr;
  HandleNode* account = nullptr;
  for (const std::int32_t index : {-5, 0, 1, 2}) {
    EXPECT_EQ(ML_GetUser(s, index, &user), index < 2 ? RESULT_OK : RESULT_INVALID);
    EXPECT_EQ(ML_GetAccount(s, user, index, &account), index < 1 ? RESULT_OK : RESULT_INVALID);
  }
  EXPECT_EQ(session.Text(ML_GetName, user).text, "DEFAULT_USER");
  EXPECT_FALSE(session.Text(ML_GetName, account).text.empty());
  EXPECT_EQ(session.Number(ML_GetAccountCount, user).value, -1);
  EXPECT_EQ(session.Number(AD_GetUserCount).value, -1);
  EXPECT_EQ(AD_GetUser(s, 99, &user), RESULT_OK);
  EXPECT_EQ(user, nullptr);
}

TEST_F(Session, AnswersTextInBothEncodingsAndRefusesOthers) {
  UseStore(StoreWithMails(json::array()));
  MailSession session;
  for (const auto get : {ML_GetMailerName, AD_GetMailerName}) {
    ResultString utf16{nullptr, ENCODING_UTF16, 0, nullptr};
    ASSERT_EQ(get(session.get(), &utf16), RESULT_OK);
    EXPECT_EQ(std::u16string(static_cast<char16_t*>(utf16.buffer)), u"Nifty Manager");
    EXPECT_EQ(utf16.length, 13);
    utf16.release(utf16.buffer);
    for (const intptr_t encoding : {0, 3}) {
      ResultString other{nullptr, encoding, 5, &utf16};
      EXPECT_EQ(get(session.get(), &other), RESULT_INVALID);
      EXPECT_EQ(other.length, 0);
      EXPECT_EQ(other.buffer, nullptr);
      ASSERT_NE(other.release, nullptr);
      other.release(nullptr);
    }
    EXPECT_EQ(get(session.get(), nullptr), RESULT_INVALID);
  }
}

TEST_F(Session, DeletesItsTemporaryFilesAtItsEnd) {
  UseStore(StoreWithMails(
      {{{"kind", 22}, {"title", "T"}, {"date", "1998-01-02"}, {"columns", {{"TextData", "x"}}}}}));
  const std::string hostName = HostPath(directory.path() / "named.eml");
  const std::filesystem::path named = directory.path() / "named.txt";
  std::filesystem::path own;
  {
    MailSession session;
    HandleNode* folder = session.OpenFolder(0, 0);
    ASSERT_NE(folder, nullptr);
    const auto writeBody = [&] { return session.Text(ML_GetMailBodyPath, folder, 0, 0); };
    own = NativePath(writeBody().text);
    // A file that the host took away is no obstacle.
    EXPECT_TRUE(std::filesystem::remove(own));
    EXPECT_EQ(NativePath(writeBody().text), own.string());
    const std::u16string name(hostName.begin(), hostName.end());
    ASSERT_EQ(ML_SetTempFileName(session.get(), AsArgument(name.c_str())), RESULT_OK);
    EXPECT_EQ(writeBody().text, HostPath(named));
    EXPECT_TRUE(std::filesystem::exists(named));
    std::ofstream(own.parent_path() / "host's");
  }
  EXPECT_FALSE(std::filesystem::exists(named));
  // The directory stays with what the host put there, and nothing but that.
  EXPECT_EQ(std::filesystem::remove_all(own.parent_path()), 2u);
}

}  // namespace
}  // namespace nimport::test
