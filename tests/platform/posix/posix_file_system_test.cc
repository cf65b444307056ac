#include "platform/posix/posix_file_system.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <set>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/file_system_fixture.h"

namespace nimport {

namespace fs = std::filesystem;

void tests::SetAge(const fs::path& file, int minutes) {
  fs::last_write_time(file, fs::file_time_type::clock::now() - std::chrono::minutes(minutes));
}

void tests::ExpectPrivate(const fs::path& directory) {
  struct stat status {};
  ASSERT_EQ(stat(directory.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0700u);
}

namespace platform::posix {
namespace {

class PosixFileSystemTest : public tests::FileSystemFixture {
 protected:
  PosixFileSystemTest() { platform_->settings["NIMPORT_DRIVES"] = "C=" + directory_.str() + "/c"; }
};

// Of files that cannot be together on Windows, and of drives as this system has them.
TEST_F(PosixFileSystemTest, FindsFilesAsWindowsWould) {
  directory_.Write("c/Nifty/MAIL.TXT", "upper");
  directory_.Write("c/Nifty/mail.txt", "lower");
  directory_.Write("c/\x83\x5C.txt", "as unpacked");  // code page 932 in a native name
  directory_.Write("c/a\\b", "odd");
  directory_.Write("d/x", "other drive");
  directory_.Write("wine/drive_c/w", "wine");
  fs::create_directory(directory_.path() / "wine/dosdevices");
  fs::create_symlink("../drive_c", directory_.path() / "wine/dosdevices/e:");
  fs::create_symlink("../drive_c", directory_.path() / "wine/dosdevices/c:");
  ASSERT_EQ(mkfifo((directory_.str() + "/c/fifo").c_str(), 0600), 0);
  platform_->settings["NIMPORT_DRIVES"] += ";d:=" + directory_.str() + "/d;F=";
  platform_->settings["WINEPREFIX"] = directory_.str() + "/wine";
  const struct {
    std::string path;
    std::string contents;  // "-" for nothing there
    const char* why;
  } cases[] = {
      {"C:\\Nifty\\mail.txt", "lower", "exact before other case"},
      {"C:\\Nifty\\Mail.txt", "upper", "of two, the first by bytes"},
      {"C:\\\x83\x5C.TXT", "as unpacked", "native name in code page 932"},
      {"D:\\X", "other drive", "second drive"},
      {"E:\\w", "wine", "drive of the Wine prefix"},
      {"C:\\w", "-", "the list of drives comes before the prefix"},
      {"F:\\w", "-", "no such drive"},
      {"Z:" + directory_.str() + "/d/x", "other drive", "Z is the root"},
      {directory_.str() + "/D/x", "other drive", "native"},
      {"C:\\a\\b", "-", "a native name with '\\' in it has no Windows path"},
      {"C:\\..\\d\\x", "-", "above the root"},
  };
  for (const auto& row : cases) {
    EXPECT_EQ(files().Exists(row.path), row.contents != "-") << row.why;
    EXPECT_EQ(row.contents == "-" ? "-" : Read(row.path), row.contents) << row.why;
  }
  for (const char* path : {"C:\\fifo", "C:\\", "/dev/null"}) {
    EXPECT_THROW((void)files().OpenForReading(path), FileError) << path;
    EXPECT_THROW((void)files().OpenForWriting(path), FileError) << path;
  }
}

TEST_F(PosixFileSystemTest, SeesFilesThatCameAfterALookUp) {
  directory_.Write("c/Mail/a.txt", "a");
  const fs::path folder = directory_.path() / "c/Mail";
  tests::SetAge(folder, 60);
  EXPECT_TRUE(files().Exists("C:\\MAIL\\A.TXT"));
  EXPECT_FALSE(files().Exists("C:\\MAIL\\B.TXT"));
  // One after the other, faster than the directory's time stamp can show.
  for (const char c : std::string("bcdefghijklm")) {
    directory_.Write(std::string("c/Mail/") + c + ".txt", "");
    EXPECT_TRUE(files().Exists(std::string("C:\\MAIL\\") + c + ".TXT")) << c;
  }
  fs::remove(folder / "d.txt");
  EXPECT_FALSE(files().Exists("C:\\MAIL\\D.TXT"));
}

TEST_F(PosixFileSystemTest, LookUpsInALargeDirectoryStayCheap) {
  constexpr int FILES = 5'000;
  for (int i = 0; i < FILES; ++i)
    directory_.Write("c/mime/m" + std::to_string(i), "");
  tests::SetAge(directory_.path() / "c/mime", 60);
  int found = 0;
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < FILES; ++i)
    found += files().Exists("C:\\MIME\\M" + std::to_string(i));
  // Reading the directory each time would take longer by far.
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
  EXPECT_EQ(found, FILES);
}

TEST_F(PosixFileSystemTest, NoticesEveryChangeOfAnOpenFile) {
  const std::string name = directory_.Write("c/f", "0123456789");
  const auto file = files().OpenForReading("C:\\f");
  EXPECT_EQ(file->Name(), name);
  // Many changes within one tick of the file system's clock, which its time stamps do not show.
  std::fstream writer(name, std::ios::in | std::ios::out);
  std::set<std::uint64_t> stamps{file->ChangeStamp()};
  for (char c = 'a'; c <= 'z'; ++c) {
    writer.seekp(0);
    writer << c << std::flush;
    stamps.insert(file->ChangeStamp());
  }
  EXPECT_EQ(stamps.size(), 27u);
  tests::SetAge(name, 60);
  EXPECT_EQ(file->ChangeStamp(), file->ChangeStamp());
  fs::resize_file(name, std::uintmax_t{1} << 40);
  EXPECT_EQ(file->Size(), std::uint64_t{1} << 40);
  EXPECT_THROW((void)ReadWholeFile(*file), FileError);
}

TEST_F(PosixFileSystemTest, WritesPrivateFilesAndThroughNoLink) {
  directory_.Write("c/out/old.txt", "a longer text than the new one");
  fs::permissions(directory_.path() / "c/out/old.txt", fs::perms(0644));
  directory_.Write("secret", "untouched");
  fs::create_symlink(directory_.path() / "secret", directory_.path() / "c/out/link");
  fs::create_symlink(directory_.path() / "made", directory_.path() / "c/out/dangling");
  std::map<std::string, std::string> expected = Listing();
  Write("C:\\OUT\\New.txt", "new");
  Write("C:\\out\\old.txt", "short");
  for (const char* path : {"C:\\out\\link", "C:\\out\\dangling", "Q:\\a.txt"})
    EXPECT_THROW((void)files().OpenForWriting(path), FileError) << path;
  expected["c/out/New.txt"] = "new";
  expected["c/out/old.txt"] = "short";
  EXPECT_EQ(Listing(), expected);
  for (const char* name : {"c/out/New.txt", "c/out/old.txt"}) {
    EXPECT_EQ(fs::status(directory_.path() / name).permissions(), fs::perms(0600)) << name;
  }
  files().Remove("C:\\out\\NEW.TXT");  // not the one that we wrote
  files().Remove("C:\\out");
  EXPECT_EQ(Listing(), expected);
  files().Remove("C:\\out\\New.txt");
  files().Remove("C:\\out\\link");
  expected.erase("c/out/New.txt");
  expected.erase("c/out/link");
  EXPECT_EQ(Listing(), expected);
}

TEST_F(PosixFileSystemTest, FailedWritesSayWhy) {
  directory_.Write("c/x", "");
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit small{.rlim_cur = 1000, .rlim_max = before.rlim_max};
  setrlimit(RLIMIT_FSIZE, &small);
  std::string reason;
  try {
    // SIGXFSZ would end the process here.
    Write("C:\\big", std::string(5000, 'x'));
  } catch (const FileError& error) {
    reason = error.what();
  }
  setrlimit(RLIMIT_FSIZE, &before);
  EXPECT_EQ(reason, directory_.str() + "/c/big: cannot be written: File too large");
}

TEST_F(PosixFileSystemTest, SaysWhyAFileIsMissing) {
  directory_.Write("c/closed/File.txt", "x");
  directory_.Write("c/unreadable/File.txt", "x");
  fs::permissions(directory_.path() / "c/closed", fs::perms::none);
  fs::permissions(directory_.path() / "c/unreadable", fs::perms(0711));
  const std::string c = directory_.str() + "/c/";
  const std::pair<const char*, std::string> CASES[] = {
      {"C:\\closed\\File.txt", c + "closed/File.txt: Permission denied"},
      {"C:\\unreadable\\FILE.TXT",
       c + "unreadable/FILE.TXT: " + c + "unreadable cannot be read: Permission denied"},
      {"C:\\none\\x", c + "none/x"},
      {"Q:\\x", "Q:\\x: no directory is given for drive Q"},
      {"\\\\server\\share\\x",
       "\\\\server\\share\\x: network paths cannot be opened here; NIMPORT_DRIVES maps drives to "
       "directories"},
  };
  // Nothing is closed to root.
  constexpr uid_t NOBODY = 65534;
  const uid_t before = geteuid();
  fs::permissions(directory_.path(), fs::perms(0755));
  ASSERT_EQ(seteuid(before == 0 ? NOBODY : before), 0);
  std::vector<std::string> reasons;
  for (const auto& row : CASES) {
    try {
      files().RequireExists(row.first);
      reasons.emplace_back("there");
    } catch (const FileMissing& error) {
      reasons.push_back(error.description());
    }
  }
  EXPECT_EQ(seteuid(before), 0);
  fs::permissions(directory_.path() / "c/closed", fs::perms(0755));
  for (std::size_t i = 0; i < reasons.size(); ++i)
    EXPECT_EQ(reasons[i], CASES[i].second);
}

TEST_F(PosixFileSystemTest, NamesFilesForMessages) {
  directory_.Write("c/Mail/\u30E1", "");
  EXPECT_EQ(files().NativeName("C:\\mail\\\x83\x81"), directory_.str() + "/c/Mail/\u30E1");
  EXPECT_EQ(files().NativeName("C:\\mail\\New\\x"), directory_.str() + "/c/Mail/New/x");
  EXPECT_EQ(files().NativeName("Q:\\\x83\x81"), "Q:\\\u30E1");
  EXPECT_EQ(files().NativeName("..\\none\\f"), "./../none/f");
}

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
}  // namespace platform::posix
}  // namespace nimport
