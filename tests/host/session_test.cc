#include "host/session.h"

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "host/address_book.h"
#include "host/environment.h"
#include "host/result_error.h"
#include "host/store.h"
#include "host/store_location.h"

namespace nimport::host {
namespace {

namespace fs = std::filesystem;
using tests::ScopedVariable;
using tests::TestStore;

const std::string LIBRARY = std::string(NIMPORT_BINARY_DIR) + "/lib/libnimport.so";

// A store that this process's plug-in finds.
class Sessions : public testing::Test {
 protected:
#if defined(__SANITIZE_ADDRESS__)
  // The sanitizer stands between the plug-in and dlopen, which then forgets the plug-in's RUNPATH
  // but finds what is loaded already.
  static void SetUpTestSuite() {
    dlopen(NIMPORT_BINARY_DIR "/lib/libwexmail.so", RTLD_NOW);
  }
#endif

  TestStore store_{R"({
    "accountId": "QZA00001",
    "cabinets": [{"number": 1, "name": "受信", "folders": [
      {"number": 10, "name": "新着/1", "mails": [
        {"kind": 22, "title": "表題", "columns": {"ToField": "QZB04567", "TextData": "a\nb"}},
        {"kind": 34, "columns": {}, "mime": {"file": "GONE.MIM"}}]},
      {"number": 11, "name": "空"}]}]})"};
  ScopedVariable registry_{"NIMPORT_REGISTRY", store_.store().RegistryVariable().c_str()};
  ScopedVariable drives_{"NIMPORT_DRIVES", store_.store().DrivesVariable().c_str()};
  Library library_{LIBRARY};
};

TEST_F(Sessions, WalkFromTheRootToAMail) {
  const MailSession session(library_);
  EXPECT_TRUE(IsMailerInstalled(library_));
  EXPECT_EQ(session.session().MailerName(), "Nifty Manager");
  EXPECT_EQ(session.accountName(), "QZA00001");
  ASSERT_EQ(session.cabinets().size(), 1U);
  EXPECT_EQ(session.cabinets()[0].name, "受信");
  ASSERT_EQ(session.cabinets()[0].folders.size(), 2U);
  EXPECT_EQ(session.cabinets()[0].folders[0].name(), "新着%2f1");
  const OpenFolder folder(session.cabinets()[0].folders[0]);
  std::vector<std::int32_t> positions;
  for (const Mail& mail : folder.Mails())
    positions.push_back(mail.position());
  EXPECT_THAT(positions, testing::ElementsAre(0, 1));
  const Mail mail = folder.MailAt(0);
  EXPECT_EQ(mail.Source(), "\r\na\r\nb");
  EXPECT_EQ(mail.Subject(), "表題");
  EXPECT_EQ(mail.Body(0).bytes, std::string("a\r\nb\0", 5));
  EXPECT_EQ(mail.Body(0).extension, ".txt");
}

TEST_F(Sessions, ErrorsNameTheCallAndTheReason) {
  const MailSession session(library_);
  const OpenFolder folder(session.cabinets()[0].folders[0]);
  try {
    static_cast<void>(folder.MailAt(1).Source());
    FAIL() << "the MIME file is not there";
  } catch (const ResultError& error) {
    EXPECT_EQ(error.function(), "ML_GetMailSource");
    EXPECT_EQ(error.code(), RESULT_INVALID);
    EXPECT_THAT(error.reason(), testing::HasSubstr("GONE.MIM"));
  }
  EXPECT_THROW(OpenFolder(session.cabinets()[0].folders[1]), ResultError)
      << "a session opens one folder at a time";
}

TEST_F(Sessions, FoldersCloseWithTheirObjects) {
  const MailSession session(library_);
  for (const Folder& folder : session.cabinets()[0].folders) {
    const OpenFolder open(folder);
    EXPECT_EQ(open.mailCount(), &folder == &session.cabinets()[0].folders[0] ? 2 : 0);
  }
}

TEST_F(Sessions, SettingsForARunGoAlsoWhenItWasKilled) {
  const tests::TestDirectory temporary;
  const ScopedVariable place("TMPDIR", temporary.str().c_str());
  const ScopedVariable confinement("NIMPORT_CONFINE", nullptr);  // the settings turn it on
  StoreLocation location;
  location.databaseDirectory = store_.store().databaseDirectory;
  const auto settings = [&] {
    return fs::directory_iterator(temporary.path())->path() / ".nimport-lock";
  };
  const pid_t killed = fork();
  if (killed == 0) {
    const StoreSettings left(location);
    _exit(0);  // without clearing up
  }
  waitpid(killed, nullptr, 0);
  ASSERT_TRUE(fs::exists(settings().replace_filename("settings.reg")));
  fs::last_write_time(settings(), fs::file_time_type::clock::now() - std::chrono::hours(1));
  {
    const StoreSettings next(location);
    EXPECT_EQ(std::distance(fs::directory_iterator(temporary.path()), {}), 1);
    EXPECT_TRUE(fs::exists(settings().replace_filename("settings.reg")));
  }
  EXPECT_TRUE(fs::is_empty(temporary.path()));
}

TEST(Loading, SaysWhyNot) {
  const tests::TestDirectory directory;
  for (const std::string& path :
       {std::string("/nonexistent.so"), directory.Write("text.so", "no library")}) {
    try {
      const Library library(path);
      FAIL() << path;
    } catch (const std::runtime_error& error) {
      EXPECT_THAT(error.what(), testing::HasSubstr(path));
    }
  }
  EXPECT_THROW(Library("libm.so.6"), std::runtime_error) << "a library without the functions";
}

}  // namespace
}  // namespace nimport::host
