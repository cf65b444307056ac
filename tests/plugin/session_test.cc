#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "plugin/session_fixture.h"

namespace nimport::test {
namespace {

using mkstore::Store;
using nlohmann::json;

constexpr char DIRECTORY_KEY[] = "Software\\NIFTY\\NIFTY Manager\\Directory";
constexpr char SESSION_KEY[] = "Software\\NIFTY\\NIFTY Manager\\Session";

class Session : public SessionTest {
 protected:
  // Puts the settings that a session needs into the fake registry.
  void UseFakeRegistry(platform::RegistryHive directoryHive) {
    platform.fakeRegistry.Clear();
    platform.fakeRegistry.Set(directoryHive, DIRECTORY_KEY, "DatabaseDir", "C:\\NIFTY\\Data");
    platform.fakeRegistry.Set(platform::RegistryHive::CurrentUser, SESSION_KEY, "ID1", "QZA00123");
    platform.registryPart = &platform.fakeRegistry;
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
  struct Row {
    const char* what;
    std::function<void(const Store&)> breakIt;
    const char* reason;  // that diagnostics are to name
  };
  const auto overwrite = [](const Store& store, const std::string& bytes) {
    std::ofstream(store.databaseDirectory / "Cabdata.mdb", std::ios::binary) << bytes;
  };
  const Row rows[] = {
      {"library missing", [&](const Store&) { loader.isMissing = true; }, "MIME library"},
      {"library without MT_Init", [&](const Store&) { loader.hidden = {"MT_Init"}; },
       "MIME library"},
      {"MT_Init answers 0", [&](const Store&) { wexmail->initResult = 0; }, "MIME library"},
      {"platform family not told", [&](const Store&) { platform.platformId.reset(); }, "family"},
      {"unknown platform family", [&](const Store&) { platform.platformId = 3; }, "family"},
      {"empty registry",
       [&](const Store&) {
         platform.fakeRegistry.Clear();
         platform.registryPart = &platform.fakeRegistry;
       },
       "DatabaseDir"},
      {"no member ID",
       [&](const Store&) {
         platform.fakeRegistry.Clear();
         platform.fakeRegistry.Set(platform::RegistryHive::LocalMachine, DIRECTORY_KEY,
                                   "DatabaseDir", "C:\\NIFTY\\Data");
         platform.registryPart = &platform.fakeRegistry;
       },
       "ID1"},
      {"member ID of 512 bytes",
       [&](const Store&) {
         UseFakeRegistry(platform::RegistryHive::LocalMachine);
         platform.fakeRegistry.Set(platform::RegistryHive::CurrentUser, SESSION_KEY, "ID1",
                                   std::string(512, 'A'));
       },
       "too long"},
      {"database missing",
       [](const Store& store) { std::filesystem::remove(store.databaseDirectory / "Cabdata.mdb"); },
       "Cabdata.mdb"},
      {"empty database", [&](const Store& store) { overwrite(store, ""); }, "Cabdata.mdb"},
      {"not a database", [&](const Store& store) { overwrite(store, std::string(100000, 'x')); },
       "Cabdata.mdb"},
      {"zero-filled database",
       [&](const Store& store) { overwrite(store, std::string(100000, '\0')); }, "Cabdata.mdb"},
      {"database cannot be opened",
       [&](const Store&) {
         platform.faultyFiles.faults.FailNth(tests::FileOperation::OpenForReading, 1);
       },
       "injected"},
      {"database cannot be read",
       [&](const Store&) { platform.faultyFiles.faults.FailNth(tests::FileOperation::Read, 1); },
       "injected"},
  };
  for (const Row& row : rows) {
    const Store store = UseStore(StoreWithMails(json::array()));
    EXPECT_EQ(OpenAndClose(), RESULT_OK) << row.what;
    row.breakIt(store);
    EXPECT_EQ(OpenAndClose(), RESULT_INVALID) << row.what;
    EXPECT_NE(LastReason().find(row.reason), std::string::npos) << row.what << ": " << LastReason();
    loader.isMissing = false;
    loader.hidden.clear();
    wexmail->initResult = 1;
    platform.platformId = 2;
    platform.faultyFiles.faults.Clear();
    ExpectNothingLeft(row.what);
  }
}

TEST_F(Session, ReadsTheDirectoryFromTheHiveOfThePlatformFamily) {
  UseStore(StoreWithMails(json::array()));
  for (const auto& [id, hive] : {std::pair(1, platform::RegistryHive::CurrentUser),
                                 std::pair(2, platform::RegistryHive::LocalMachine)}) {
    platform.platformId = id;
    UseFakeRegistry(hive);
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

TEST_F(Session, EndsOnlyThroughItsOwnHandle) {
  UseStore(StoreWithMails(json::array()));
  MailSession session;
  HandleNode* user = session.User();
  EXPECT_EQ(ML_Terminate(user), RESULT_INVALID);
  EXPECT_EQ(AD_Terminate(nullptr), RESULT_INVALID);
  EXPECT_NE(session.Child(user, 0), nullptr);
}

TEST_F(Session, FreesHandlesHoweverDeepTheyHang) {
  UseStore(StoreWithMails(json::array()));
  MailSession session;
  HandleNode* node = session.get();
  for (int i = 0; i < 200000; ++i) {
    HandleNode* child = nullptr;
    ASSERT_EQ(ML_GetUser(node, 0, &child), RESULT_OK);
    node = child;
  }
}

TEST_F(Session, AnswersTheLevelsAboveTheData) {
  UseStore(StoreWithMails(json::array()));
  MailSession session;
  HandleNode* s = session.get();
  HandleNode* handle = nullptr;
  for (const std::int32_t index : {0, 1, -5})
    EXPECT_EQ(ML_GetUser(s, index, &handle), RESULT_OK);
  EXPECT_EQ(ML_GetUser(s, 2, &handle), RESULT_INVALID);
  HandleNode* user = handle;
  for (const std::int32_t index : {0, -1}) {
    EXPECT_EQ(ML_GetAccount(s, user, index, &handle), RESULT_OK);
  }
  EXPECT_EQ(ML_GetAccount(s, nullptr, 1, &handle), RESULT_INVALID);
  const auto nameOf = [&](HandleNode* node) {
    return AskText([&](ResultString* text) { return ML_GetName(s, node, text); });
  };
  EXPECT_EQ(nameOf(user).text, "DEFAULT_USER");
  EXPECT_EQ(nameOf(handle).code, RESULT_OK);
  EXPECT_FALSE(nameOf(handle).text.empty());
  EXPECT_EQ(nameOf(s).code, RESULT_INVALID);
  EXPECT_EQ(AskNumber([&](std::int32_t* out) { return ML_GetAccountCount(s, user, out); }).value,
            -1);
  EXPECT_EQ(AskNumber([&](std::int32_t* out) { return AD_GetUserCount(s, out); }).value, -1);
  EXPECT_EQ(AD_GetAccountCount(s, user, nullptr), RESULT_INVALID);
  EXPECT_EQ(AD_GetUser(s, 99, &handle), RESULT_OK);
  EXPECT_EQ(handle, nullptr);
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
  const std::string kept = directory.Write("kept.txt", "not ours");
  std::string own;
  {
    MailSession session;
    HandleNode* folder = session.OpenFolder(0, 0);
    ASSERT_NE(folder, nullptr);
    const auto writeBody = [&] {
      return AskText([&](ResultString* text) {
        return ML_GetMailBodyPath(session.get(), folder, 0, 0, text);
      });
    };
    const TextAnswer first = writeBody();
    ASSERT_EQ(first.code, RESULT_OK);
    own = NativePath(first.text);
    EXPECT_TRUE(std::filesystem::exists(own));
    // A file that the host took away is no obstacle, and one that the host named is deleted, too.
    std::filesystem::remove(own);
    const std::string path = HostPath(directory.path() / "named");
    const std::u16string named = std::u16string(path.begin(), path.end()) + u".eml";
    ASSERT_EQ(ML_SetTempFileName(session.get(), AsArgument(named.c_str())), RESULT_OK);
    EXPECT_EQ(writeBody().text, path + ".txt");
    EXPECT_TRUE(std::filesystem::exists(directory.path() / "named.txt"));
    std::ofstream(std::filesystem::path(own).replace_filename("host's"));
  }
  EXPECT_FALSE(std::filesystem::exists(directory.path() / "named.txt"));
  EXPECT_FALSE(std::filesystem::exists(own));
  // What a host put there stays, and nothing but that.
  const std::filesystem::path place = std::filesystem::path(own).parent_path();
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(place), {}), 1);
  EXPECT_EQ(std::filesystem::remove_all(place), 2u);
  EXPECT_TRUE(std::filesystem::exists(kept));
}

}  // namespace
}  // namespace nimport::test
