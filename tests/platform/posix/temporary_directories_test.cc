#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>

#include <fcntl.h>
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
  TemporaryDirectoriesTest() { platform_->settings["TMPDIR"] = tmp_; }
  void SetUp() override { fs::create_directory(tmp_); }

  FileSystem& files() { return platform_->system().files(); }
  fs::path Native(const std::string& path) { return files().NativeName(path); }
  void WriteOwn(const std::string& directory, const char* name) {
    files().OpenForWriting(directory + '\\' + name)->Close();
  }
  int Count() { return static_cast<int>(std::distance(fs::directory_iterator(tmp_), {})); }

  // A directory with the file "mail", left by a process that was killed an hour ago.
  fs::path LeaveOne() {
    const pid_t child = fork();
    if (child == 0) {
      WriteOwn(files().MakeTemporaryDirectory(), "mail");
      _exit(0);  // without clearing up
    }
    waitpid(child, nullptr, 0);
    for (const auto& directory : fs::directory_iterator(tmp_)) {
      const fs::path lock = directory.path() / ".nimport-lock";
      const auto age = fs::file_time_type::clock::now() - fs::last_write_time(lock);
      if (age > std::chrono::minutes(1)) continue;
      fs::last_write_time(lock, fs::file_time_type::clock::now() - std::chrono::hours(1));
      return directory;
    }
    throw std::runtime_error("no directory was left");
  }

  // What a process does that needs a directory for the first time.
  void MakeAsNextProcess() {
    tests::FakePlatform next;
    next.settings = platform_->settings;
    (void)next.system().files().MakeTemporaryDirectory();
  }

  tests::TestDirectory directory_;
  std::string tmp_ = directory_.str() + "/tmp";
  std::unique_ptr<tests::FakePlatform> platform_ = std::make_unique<tests::FakePlatform>();
};

TEST_F(TemporaryDirectoriesTest, ArePrivateAndGoWithTheirOwnFiles) {
  const std::string path = files().MakeTemporaryDirectory();
  const std::string other = files().MakeTemporaryDirectory();
  EXPECT_NE(path, other);
  EXPECT_TRUE(path.starts_with("Z:\\")) << path;
  EXPECT_FALSE(path.ends_with('\\')) << path;
  struct stat status {};
  ASSERT_EQ(stat(Native(path).c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0700u);
  WriteOwn(path, "a.TMP");
  WriteOwn(other, "a.TMP");
  WriteOwn(other, "b.TMP");

  // What a host renamed or put there is the host's.
  const fs::path shared = Native(other);
  fs::rename(shared / "b.TMP", shared / "renamed");
  fs::create_directory_symlink(directory_.path(), shared / "link");
  files().RemoveTemporaryDirectory(other);
  EXPECT_FALSE(fs::exists(shared / "a.TMP"));
  EXPECT_TRUE(fs::exists(shared / "renamed") && fs::is_symlink(shared / "link"));
  files().RemoveTemporaryDirectory("Z:" + directory_.str());
  EXPECT_EQ(Count(), 2);
  fs::remove_all(shared);
  platform_.reset();  // the process ends with a directory left
  EXPECT_EQ(Count(), 0);
}

TEST_F(TemporaryDirectoriesTest, AForkedChildLeavesItsParentsAlone) {
  const std::string path = files().MakeTemporaryDirectory();
  WriteOwn(path, "a.TMP");
  const pid_t child = fork();
  if (child == 0) {
    const std::string own = files().MakeTemporaryDirectory();
    const bool isOwn = own != path && Count() == 2;
    files().RemoveTemporaryDirectory(own);
    files().RemoveTemporaryDirectory(path);
    _exit(isOwn ? 0 : 1);
  }
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  EXPECT_TRUE(files().Exists(path + "\\a.TMP"));
  EXPECT_EQ(Count(), 1);
}

TEST_F(TemporaryDirectoriesTest, ThoseOfKilledProcessesGo) {
  struct Case {
    const char* what;
    std::function<void(const fs::path&)> change;
    bool keepsMail;
  };
  const Case cases[] = {
      {"as it was left", [](const fs::path&) {}, false},
      {"with a host's file", [](const fs::path& left) { fs::create_directory(left / "host's"); },
       false},
      {"young",
       [](const fs::path& left) {
         fs::last_write_time(left / ".nimport-lock", fs::file_time_type::clock::now());
       },
       true},
      {"without lock", [](const fs::path& left) { fs::remove(left / ".nimport-lock"); }, true},
      {"open to others", [](const fs::path& left) { fs::permissions(left, fs::perms::all); }, true},
      {"lock that has another name",
       [this](const fs::path& left) {
         fs::create_hard_link(left / ".nimport-lock", directory_.path() / "hard");
       },
       true},
      {"lock that is a link",
       [this](const fs::path& left) {
         fs::rename(left / ".nimport-lock", directory_.path() / "aside");
         fs::create_symlink(directory_.path() / "aside", left / ".nimport-lock");
       },
       true},
      {"of another user",
       [](const fs::path& left) {
         // Where only root can do that there is nothing to see.
         if (chown(left.c_str(), 65534, 65534) != 0) fs::remove(left / ".nimport-lock");
       },
       true},
  };
  for (const Case& c : cases) {
    const fs::path left = LeaveOne();
    c.change(left);
    MakeAsNextProcess();
    EXPECT_EQ(fs::exists(left / "mail"), c.keepsMail) << c.what;
    EXPECT_EQ(fs::exists(left), c.keepsMail || fs::exists(left / "host's")) << c.what;
    fs::remove_all(left);
  }
}

// An entry of a list that leads out of the directory, and one that was not written whole.
TEST_F(TemporaryDirectoriesTest, ListsLeadNowhereElse) {
  const fs::path left = LeaveOne();
  directory_.Write("tmp/keep", "x");
  const std::string list("../keep\0..\0\0mail\0other", 22);
  directory_.Write(fs::relative(left / ".nimport-lock", directory_.path()), list);
  directory_.Write(fs::relative(left / "other", directory_.path()), "x");
  fs::last_write_time(left / ".nimport-lock",
                      fs::file_time_type::clock::now() - std::chrono::hours(1));
  MakeAsNextProcess();
  EXPECT_EQ(directory_.Read("tmp/keep"), "x");
  EXPECT_FALSE(fs::exists(left / "mail"));
  EXPECT_TRUE(fs::exists(left / "other"));
}

TEST_F(TemporaryDirectoriesTest, NobodyIsWaitedFor) {
  const fs::path left = LeaveOne();
  int ready[2] = {};
  ASSERT_EQ(pipe(ready), 0);
  const pid_t holder = fork();
  if (holder == 0) {
    std::signal(SIGIO, SIG_IGN);  // comes when somebody wants the file
    const int lock = open((left / ".nimport-lock").c_str(), O_RDONLY);
    const char answer = fcntl(lock, F_SETLEASE, F_WRLCK) == 0 ? 'y' : 'n';
    (void)!write(ready[1], &answer, 1);
    while (true)
      pause();
  }
  char answer = 0;
  ASSERT_EQ(read(ready[0], &answer, 1), 1);
  const auto begin = std::chrono::steady_clock::now();
  MakeAsNextProcess();
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
  EXPECT_TRUE(answer == 'n' || fs::exists(left / "mail"));
  kill(holder, SIGKILL);
  waitpid(holder, nullptr, 0);
  close(ready[0]);
  close(ready[1]);
  if (answer == 'n') GTEST_SKIP() << "no leases here";
}

TEST_F(TemporaryDirectoriesTest, LieWhereADriveLeadsOrUnderTheirOwnPath) {
  fs::create_directory(directory_.path() / "z");
  const std::string withoutRoot = "Z=" + directory_.str() + "/z";
  platform_->settings["NIMPORT_DRIVES"] = withoutRoot + ";T=" + tmp_;
  const std::string onDrive = files().MakeTemporaryDirectory();
  EXPECT_TRUE(onDrive.starts_with("T:\\nimport-")) << onDrive;
  platform_->settings["NIMPORT_DRIVES"] = withoutRoot;
  const std::string native = files().MakeTemporaryDirectory();
  EXPECT_TRUE(native.starts_with(tmp_ + "/nimport-")) << native;
  files().OpenForWriting(native + "/a.TMP")->Close();
  EXPECT_TRUE(fs::exists(fs::path(native) / "a.TMP"));
  files().RemoveTemporaryDirectory(native);
  files().RemoveTemporaryDirectory(onDrive);
  EXPECT_EQ(Count(), 0);
}

TEST_F(TemporaryDirectoriesTest, FallBackToTheSystemsPlaces) {
  for (const char* name : {"missing", "tmp/caf\u00E9", "tmp/a:b", "tmp/a\\b", "tmp/aux"}) {
    const fs::path place = directory_.path() / name;
    platform_->settings["TMPDIR"] = place;
    if (std::string_view(name) != "missing") fs::create_directory(place);
    const std::string path = files().MakeTemporaryDirectory();
    EXPECT_TRUE(path.starts_with("Z:\\tmp\\nimport-")) << name << ": " << path;
    files().RemoveTemporaryDirectory(path);
    EXPECT_TRUE(!fs::exists(place) || fs::is_empty(place)) << name;
  }
  platform_->settings["TMPDIR"] = tmp_ + "/\u8868";  // second byte '\'
  fs::create_directory(platform_->settings["TMPDIR"]);
  const std::string path = files().MakeTemporaryDirectory();
  EXPECT_NE(path.find("\\\x95\x5C\\nimport-"), std::string::npos) << path;
}

TEST_F(TemporaryDirectoriesTest, EachPlaceThatFailsIsNamed) {
  if (geteuid() != 0) GTEST_SKIP() << "only root may have another root directory";
  directory_.Write("var/tmp", "no directory");
  fs::remove(tmp_);
  const pid_t child = fork();
  if (child == 0) {
    if (chroot(directory_.str().c_str()) != 0 || chdir("/") != 0) _exit(2);
    platform_->settings["TMPDIR"] = "/chosen";
    try {
      (void)files().MakeTemporaryDirectory();
    } catch (const FileError& error) {
      const std::string reason = error.what();
      const auto named = [&](const char* text) { return reason.find(text) != std::string::npos; };
      _exit(named("/chosen: ") && named("; /tmp: ") && named("; /var/tmp: ") ? 0 : 1);
    }
    _exit(3);
  }
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace nimport::platform::posix
