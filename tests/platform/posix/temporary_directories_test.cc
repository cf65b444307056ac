#include <chrono>
#include <csignal>
#include <filesystem>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/file_system_fixture.h"

namespace nimport::platform::posix {
namespace {

namespace fs = std::filesystem;

class TemporaryDirectoriesTest : public tests::FileSystemFixture {
 protected:
  int Count() { return static_cast<int>(std::distance(fs::directory_iterator(tmp_), {})); }
};

TEST_F(TemporaryDirectoriesTest, AForkedChildLeavesItsParentsAlone) {
  const std::string path = files().MakeTemporaryDirectory();
  Write(path + "\\a.TMP", "");
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

TEST_F(TemporaryDirectoriesTest, OnlyThoseOfKilledProcessesOfThisUserGo) {
  const pid_t child = fork();
  if (child == 0) {
    Write(files().MakeTemporaryDirectory() + "\\mail", "");
    _exit(0);  // without clearing up
  }
  waitpid(child, nullptr, 0);
  const fs::path killed = *fs::directory_iterator(tmp_);
  EXPECT_TRUE(fs::exists(killed / "mail"));
  tests::SetAge(killed / ".nimport-lock", 60);
  const fs::path open = MakeLeftover("nimport-1");
  fs::permissions(open, fs::perms::all);
  const fs::path linked = MakeLeftover("nimport-2");
  fs::create_hard_link(linked / ".nimport-lock", directory_.path() / "hard");
  const fs::path link = MakeLeftover("nimport-3");
  fs::rename(link / ".nimport-lock", directory_.path() / "lock");
  fs::create_symlink(directory_.path() / "lock", link / ".nimport-lock");
  const fs::path others = MakeLeftover("nimport-4");
  // Where only root can do that there is nothing to see.
  if (chown(others.c_str(), 65534, 65534) != 0) fs::remove(others / ".nimport-lock");
  (void)files().MakeTemporaryDirectory();
  EXPECT_FALSE(fs::exists(killed));
  for (const fs::path& left : {open, linked, link, others})
    EXPECT_TRUE(fs::exists(left / "mail")) << left;
}

TEST_F(TemporaryDirectoriesTest, NobodyIsWaitedFor) {
  const fs::path left = MakeLeftover("nimport-1");
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
  (void)files().MakeTemporaryDirectory();
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
  platform_->settings["NIMPORT_DRIVES"] = withoutRoot + ";T=" + tmp_.string();
  const std::string onDrive = files().MakeTemporaryDirectory();
  EXPECT_TRUE(onDrive.starts_with("T:\\nimport-")) << onDrive;
  platform_->settings["NIMPORT_DRIVES"] = withoutRoot;
  const std::string native = files().MakeTemporaryDirectory();
  EXPECT_TRUE(native.starts_with(tmp_.string() + "/nimport-")) << native;
  Write(native + "/a.TMP", "");
  EXPECT_TRUE(fs::exists(fs::path(native) / "a.TMP"));
  files().RemoveTemporaryDirectory(native);
  files().RemoveTemporaryDirectory(onDrive);
  EXPECT_EQ(Count(), 0);
}

TEST_F(TemporaryDirectoriesTest, FallBackToTheSystemsPlaces) {
  for (const char* name : {"a:b", "a\\b", "aux"}) {
    const fs::path place = tmp_ / name;
    UseTemporaryPlace(place);
    fs::create_directory(place);
    const std::string path = files().MakeTemporaryDirectory();
    EXPECT_TRUE(path.starts_with("Z:\\tmp\\nimport-")) << name << ": " << path;
    EXPECT_TRUE(fs::is_empty(place)) << name;
  }
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
