#include "platform/posix/temporary_directories.h"

#include <chrono>
#include <filesystem>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "common/fake_platform.h"
#include "common/test_directory.h"

namespace nimport::platform::posix {
namespace {

namespace fs = std::filesystem;

class TemporaryDirectoriesTest : public testing::Test {
 protected:
  TemporaryDirectoriesTest() { platform_->settings["TMPDIR"] = directory_.str() + "/tmp"; }
  void SetUp() override { fs::create_directory(directory_.path() / "tmp"); }

  FileSystem& files() { return platform_->system().files(); }
  int Count() {
    return static_cast<int>(std::distance(fs::directory_iterator(directory_.path() / "tmp"), {}));
  }

  tests::TestDirectory directory_;
  std::unique_ptr<tests::FakePlatform> platform_ = std::make_unique<tests::FakePlatform>();
};

TEST_F(TemporaryDirectoriesTest, ArePrivateAndGoWithWhatTheyContain) {
  const auto path = files().MakeTemporaryDirectory();
  const auto other = files().MakeTemporaryDirectory();
  ASSERT_TRUE(path && other);
  EXPECT_NE(path, other);
  EXPECT_TRUE(path->starts_with("Z:\\")) << *path;
  EXPECT_FALSE(path->ends_with('\\')) << *path;
  struct stat status {};
  ASSERT_EQ(stat(files().NativeName(*path).c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0700u);

  // What lies in it goes, what it points to stays.
  directory_.Write("outside/keep", "x");
  const fs::path native = files().NativeName(*path);
  files().OpenForWriting(*path + "\\a.TMP")->Close();
  fs::create_directories(native / "deep/er");
  fs::create_directory_symlink(directory_.path() / "outside", native / "deep/link");
  files().RemoveTemporaryDirectory(*path);
  EXPECT_FALSE(fs::exists(native));
  EXPECT_EQ(directory_.Read("outside/keep"), "x");
  // Only what was made here is removed.
  files().RemoveTemporaryDirectory(*path);
  files().RemoveTemporaryDirectory("Z:" + directory_.str());
  EXPECT_EQ(directory_.Read("outside/keep"), "x");
  EXPECT_EQ(Count(), 1);
  platform_.reset();  // the process ends with a directory left
  EXPECT_EQ(Count(), 0);
}

TEST_F(TemporaryDirectoriesTest, AForkedChildLeavesItsParentsAlone) {
  const auto path = files().MakeTemporaryDirectory();
  ASSERT_TRUE(path);
  const pid_t child = fork();
  if (child == 0) {
    const auto own = files().MakeTemporaryDirectory();
    const bool isOwn = own && own != path && Count() == 2;
    files().RemoveTemporaryDirectory(*own);
    files().RemoveTemporaryDirectory(*path);
    _exit(isOwn ? 0 : 1);
  }
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  EXPECT_TRUE(files().Exists(*path));
  EXPECT_EQ(Count(), 1);
}

TEST_F(TemporaryDirectoriesTest, ThoseOfKilledProcessesGo) {
  const auto own = files().MakeTemporaryDirectory();
  ASSERT_TRUE(own);
  const pid_t child = fork();
  if (child == 0) {
    const auto left = files().MakeTemporaryDirectory();
    files().OpenForWriting(*left + "\\a.TMP")->Close();
    _exit(0);  // without clearing up, as a killed process
  }
  waitpid(child, nullptr, 0);
  // Not ours, whatever its name says.
  directory_.Write("tmp/nimport-export/mail", "x");
  ASSERT_EQ(Count(), 3);

  tests::FakePlatform young;
  young.settings = platform_->settings;
  ASSERT_TRUE(young.system().files().MakeTemporaryDirectory());
  EXPECT_EQ(Count(), 4) << "might be about to be locked";

  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(directory_.path())) {
    if (entry.is_regular_file()) {
      fs::last_write_time(entry, fs::file_time_type::clock::now() - std::chrono::hours(1));
    }
  }
  tests::FakePlatform later;
  later.settings = platform_->settings;
  ASSERT_TRUE(later.system().files().MakeTemporaryDirectory());
  EXPECT_EQ(Count(), 4) << "the child's goes, the new one comes";
  EXPECT_TRUE(files().Exists(*own));
  EXPECT_EQ(directory_.Read("tmp/nimport-export/mail"), "x");
}

TEST_F(TemporaryDirectoriesTest, LiesWhereADriveLeads) {
  fs::create_directory(directory_.path() / "z");
  platform_->settings["NIMPORT_DRIVES"] =
      "Z=" + directory_.str() + "/z;T=" + directory_.str() + "/tmp";
  const auto path = files().MakeTemporaryDirectory();
  ASSERT_TRUE(path);
  EXPECT_TRUE(path->starts_with("T:\\nimport-")) << *path;
  files().RemoveTemporaryDirectory(*path);
  // No drive leads to it.
  platform_->settings["NIMPORT_DRIVES"] = "Z=" + directory_.str() + "/z";
  EXPECT_EQ(files().MakeTemporaryDirectory(), std::nullopt);
  EXPECT_EQ(Count(), 0);
}

TEST_F(TemporaryDirectoriesTest, FailsWhereNoneCanBe) {
  for (const char* name : {"missing", "tmp/caf\u00E9", "tmp/a:b", "tmp/a\\b", "tmp/aux"}) {
    platform_->settings["TMPDIR"] = directory_.str() + "/" + name;
    if (std::string_view(name) != "missing") fs::create_directory(directory_.path() / name);
    EXPECT_EQ(files().MakeTemporaryDirectory(), std::nullopt) << name;
  }
  EXPECT_EQ(Count(), 4);
  EXPECT_TRUE(fs::is_empty(directory_.path() / "tmp/a:b"));
  platform_->settings["TMPDIR"] = directory_.str() + "/tmp/\u8868";  // second byte '\'
  fs::create_directory(directory_.path() / "tmp/\u8868");
  const auto path = files().MakeTemporaryDirectory();
  ASSERT_TRUE(path);
  EXPECT_NE(path->find("\\\x95\x5C\\nimport-"), std::string::npos) << *path;
}

}  // namespace
}  // namespace nimport::platform::posix
