#include "platform/posix/posix_file_system.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <set>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "common/fake_platform.h"
#include "common/test_directory.h"

namespace nimport::platform::posix {
namespace {

namespace fs = std::filesystem;

class PosixFileSystemTest : public testing::Test {
 protected:
  PosixFileSystemTest() { platform_.settings["NIMPORT_DRIVES"] = "C=" + directory_.str() + "/c"; }

  FileSystem& files() { return platform_.system().files(); }
  std::string Read(std::string_view path) { return ReadWholeFile(*files().OpenForReading(path)); }
  void Write(std::string_view path, std::string_view content) {
    const std::unique_ptr<OutputFile> file = files().OpenForWriting(path);
    file->Write(std::as_bytes(std::span(content)));
    file->Close();
  }
  // All that is in the test's directory, to see that nothing else was made or changed there.
  std::set<std::string> Listing() {
    std::set<std::string> names;
    for (const auto& entry : fs::recursive_directory_iterator(directory_.path())) {
      names.insert(fs::relative(entry.path(), directory_.path()));
    }
    return names;
  }

  tests::TestDirectory directory_;
  tests::FakePlatform platform_;
};

TEST_F(PosixFileSystemTest, FindsFilesAsWindowsWould) {
  directory_.Write("c/Nifty/Mail/Cabdata.mdb", "db");
  directory_.Write("c/Nifty/MAIL.TXT", "upper");
  directory_.Write("c/Nifty/mail.txt", "lower");
  directory_.Write("c/\u30BD\u8868/\uFF21.txt", "japanese");
  directory_.Write("c/\x83\x5C.txt", "as unpacked");  // code page 932 in a native name
  directory_.Write("c/a\\b", "odd");
  directory_.Write("d/x", "other drive");
  directory_.Write("wine/drive_c/w", "wine");
  fs::create_directory(directory_.path() / "wine/dosdevices");
  fs::create_symlink("../drive_c", directory_.path() / "wine/dosdevices/e:");
  fs::create_symlink("../drive_c", directory_.path() / "wine/dosdevices/c:");
  platform_.settings["NIMPORT_DRIVES"] += ";d:=" + directory_.str() + "/d;F=";
  platform_.settings["WINEPREFIX"] = directory_.str() + "/wine";
  const struct {
    std::string path;
    std::string content;  // "-" for nothing there
    const char* why;
  } CASES[] = {
      {"C:\\Nifty\\Mail\\Cabdata.mdb", "db", "as written"},
      {"c:\\NIFTY\\mail\\CABDATA.MDB", "db", "letter case"},
      {"C:/nifty/Mail\\Cabdata.mdb", "db", "either separator"},
      {"C:\\Nifty\\x\\..\\Mail\\.\\Cabdata.mdb", "db", "dots"},
      {"C:\\Nifty\\mail.txt", "lower", "exact before other case"},
      {"C:\\Nifty\\Mail.txt", "upper", "of two, the first by bytes"},
      {"C:\\\x83\x5C\x95\x5C\\\x82\x60.txt", "japanese", "second bytes that look like '\\'"},
      {"C:\\\x83\x5C\x95\x5C\\\x82\x81.TXT", "japanese", "full-width letters have a case too"},
      {"C:\\\x83\x5C.TXT", "as unpacked", "native name in code page 932"},
      {"D:\\X", "other drive", "second drive"},
      {"E:\\w", "wine", "drive of the Wine prefix"},
      {"C:\\w", "-", "the list of drives comes before the prefix"},
      {"F:\\w", "-", "no such drive"},
      {"Z:" + directory_.str() + "/d/x", "other drive", "Z is the root"},
      {directory_.str() + "/D/x", "other drive", "native"},
      {"C:\\a\\b", "-", "a native name with '\\' in it has no Windows path"},
      {"C:\\Nifty\\none", "-", "missing"},
      {"C:\\..\\d\\x", "-", "above the root"},
      {"C:\\\x82", "-", "not code page 932"},
      {"C:\\Nifty\\mail.txt:s", "-", "stream"},
      {std::string("C:\\Nifty\\mail.txt\0x", 19), "-", "NUL"},
  };
  for (const auto& row : CASES) {
    const bool isThere = row.content != "-";
    EXPECT_EQ(files().Exists(row.path), isThere) << row.why;
    if (isThere) {
      EXPECT_EQ(Read(row.path), row.content) << row.why;
    } else {
      EXPECT_THROW((void)files().OpenForReading(row.path), FileError) << row.why;
    }
  }
}

TEST_F(PosixFileSystemTest, SeesFilesThatCameAfterALookUp) {
  directory_.Write("c/Mail/a.txt", "a");
  const fs::path folder = directory_.path() / "c/Mail";
  const auto longAgo = fs::file_time_type::clock::now() - std::chrono::hours(1);
  fs::last_write_time(folder, longAgo);
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
  const auto longAgo = fs::file_time_type::clock::now() - std::chrono::hours(1);
  fs::last_write_time(directory_.path() / "c/mime", longAgo);
  int found = 0;
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < FILES; ++i)
    found += files().Exists("C:\\MIME\\M" + std::to_string(i));
  // Reading the directory each time would take longer by far.
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
  EXPECT_EQ(found, FILES);
}

TEST_F(PosixFileSystemTest, OpensRegularFilesOnly) {
  fs::create_directories(directory_.path() / "c/dir");
  ASSERT_EQ(mkfifo((directory_.str() + "/c/fifo").c_str(), 0600), 0);
  for (const char* path : {"C:\\dir", "C:\\fifo", "C:\\", "/dev/null"}) {
    EXPECT_THROW((void)files().OpenForReading(path), FileError) << path;
    EXPECT_THROW((void)files().OpenForWriting(path), FileError) << path;
  }
  EXPECT_TRUE(files().Exists("C:\\dir"));
}

TEST_F(PosixFileSystemTest, ReadsAnywhereAndNoticesChanges) {
  const std::string name = directory_.Write("c/f", "0123456789");
  const auto file = files().OpenForReading("C:\\f");
  EXPECT_EQ(file->Name(), name);
  std::byte buffer[8];
  EXPECT_EQ(file->ReadAt(6, buffer), 4u);
  EXPECT_EQ(buffer[0], std::byte{'6'});
  EXPECT_EQ(file->ReadAt(10, buffer), 0u);
  EXPECT_EQ(file->ReadAt(~std::uint64_t{0}, buffer), 0u);

  fs::resize_file(name, std::uintmax_t{1} << 40);
  EXPECT_EQ(file->Size(), std::uint64_t{1} << 40);
  EXPECT_THROW((void)ReadWholeFile(*file), FileError);

  // Many changes within one tick of the file system's clock, which its time stamps do not show.
  directory_.Write("c/f", "0123456789");
  std::fstream writer(name, std::ios::in | std::ios::out);
  std::set<std::uint64_t> stamps{file->ChangeStamp()};
  for (char c = 'a'; c <= 'z'; ++c) {
    writer.seekp(0);
    writer << c << std::flush;
    stamps.insert(file->ChangeStamp());
  }
  EXPECT_EQ(stamps.size(), 27u);
  fs::last_write_time(name, fs::file_time_type::clock::now() - std::chrono::hours(1));
  EXPECT_EQ(file->ChangeStamp(), file->ChangeStamp());
}

TEST_F(PosixFileSystemTest, WritesPrivateFilesAndNothingElse) {
  directory_.Write("c/out/old.txt", "a longer text than the new one");
  fs::permissions(directory_.path() / "c/out/old.txt", fs::perms(0644));
  directory_.Write("secret", "untouched");
  fs::create_symlink(directory_.path() / "secret", directory_.path() / "c/out/link");
  fs::create_symlink(directory_.path() / "made", directory_.path() / "c/out/dangling");
  std::set<std::string> expected = Listing();

  Write("C:\\OUT\\New.txt", "new");
  Write("C:\\out\\old.txt", "short");
  for (const std::string& path :
       {std::string("C:\\out\\link"), std::string("C:\\out\\dangling"),
        std::string("C:\\out\\a.x:y"), std::string("C:\\out\\a.\0x", 11),
        std::string("C:\\missing\\a.txt"), std::string("C:\\..\\a.txt"),
        std::string("C:\\out\\NUL.txt"), std::string("Q:\\a.txt"), std::string()}) {
    EXPECT_THROW((void)files().OpenForWriting(path), FileError) << path;
  }

  expected.insert("c/out/New.txt");
  EXPECT_EQ(Listing(), expected);
  EXPECT_EQ(directory_.Read("c/out/New.txt"), "new");
  EXPECT_EQ(directory_.Read("c/out/old.txt"), "short");
  EXPECT_EQ(directory_.Read("secret"), "untouched");
  for (const char* name : {"c/out/New.txt", "c/out/old.txt"}) {
    EXPECT_EQ(fs::status(directory_.path() / name).permissions(), fs::perms(0600)) << name;
  }
  files().Remove("C:\\out\\NEW.TXT");  // not the one that we wrote
  files().Remove("C:\\out\\none");
  files().Remove("C:\\out");
  EXPECT_EQ(Listing(), expected);
  files().Remove("C:\\out\\New.txt");
  files().Remove("C:\\out\\link");
  EXPECT_EQ(directory_.Read("secret"), "untouched");
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

TEST_F(PosixFileSystemTest, RelativePathsStartInTheCurrentDirectory) {
  directory_.Write("c/sub/f", "x");
  const fs::path before = fs::current_path();
  fs::current_path(directory_.path() / "c/sub");
  EXPECT_TRUE(files().Exists("F"));
  EXPECT_TRUE(files().Exists("..\\sub\\f"));
  EXPECT_EQ(files().NativeName("..\\sub\\f"), "./../sub/f");
  fs::current_path(before);
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
}

}  // namespace
}  // namespace nimport::platform::posix
