// What a file system does on every system. What only one of them has is in posix/ and windows/.
#include "platform/file_system.h"

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "mkstore/executable.h"
#include "platform/file_system_fixture.h"

namespace nimport::platform {
namespace {

namespace fs = std::filesystem;

using FileSystemTest = tests::FileSystemFixture;

TEST_F(FileSystemTest, FindsFilesByTheirWindowsPaths) {
  directory_.Write("disk/Nifty/Mail/Cabdata.mdb", "db");
  directory_.Write("japanese", "japanese");
  fs::create_directory(directory_.path() / u8"disk/\u30BD\u8868\uFF5E");
  fs::rename(directory_.path() / "japanese",
             directory_.path() / u8"disk/\u30BD\u8868\uFF5E/\uFF21.txt");
  directory_.Write("own.txt", "own");
  const struct {
    std::string path;
    const char* contents;  // "-" for nothing there
    const char* why;
  } cases[] = {
      {"Q:\\Nifty\\Mail\\Cabdata.mdb", "db", "as spelt"},
      {"q:\\NIFTY\\mail\\CABDATA.MDB", "db", "letter case"},
      {"Q:/nifty/Mail\\Cabdata.mdb", "db", "either separator"},
      {"Q:\\none\\..\\Nifty\\x\\..\\Mail\\.\\Cabdata.mdb", "db", "dots, by the names alone"},
      {"Q:\\\x83\x5C\x95\x5C\x81\x60\\\x82\x60.txt", "japanese", "second bytes like '\\'"},
      {"Q:\\\x83\x5C\x95\x5C\x81\x60\\\x82\x81.TXT", "japanese", "full-width letters have a case"},
      {Path("OWN.txt"), "own", "a path of this machine"},
      {"Q:\\Nifty\\none", "-", "missing"},
      {"Q:\\..\\own.txt", "-", "above the root"},
      {"Q:\\\x82", "-", "not code page 932"},
      {Path("own.txt:stream"), "-", "stream"},
      {Path("own.txt") + std::string("\0x", 2), "-", "NUL"},
      {"Q:\\NUL", "-", "device"},
      {"R:\\own.txt", "-", "no such drive"},
  };
  for (const auto& row : cases) {
    const bool isThere = std::string_view("-") != row.contents;
    EXPECT_EQ(files().Exists(row.path), isThere) << row.why;
    EXPECT_EQ(files().FindChangeStamp(row.path).has_value(), isThere) << row.why;
    if (isThere) {
      EXPECT_EQ(Read(row.path), row.contents) << row.why;
    } else {
      EXPECT_THROW((void)files().OpenForReading(row.path), FileError) << row.why;
    }
  }
  EXPECT_TRUE(files().Exists("Q:\\Nifty"));
  EXPECT_EQ(files().FindChangeStamp("Q:\\Nifty"), std::nullopt) << "a directory";
  EXPECT_THROW((void)files().OpenForReading("Q:\\Nifty"), FileError);
}

TEST_F(FileSystemTest, RelativePathsStartInTheCurrentDirectory) {
  directory_.Write("x.txt", "here");
  fs::create_directories(directory_.path() / "d/e");
  const fs::path before = fs::current_path();
  fs::current_path(directory_.path() / "d/e");
  EXPECT_EQ(Read("..\\..\\X.txt"), "here");
  EXPECT_EQ(Read(Path("x.txt").substr(2)), "here") << "on the current drive";
  EXPECT_FALSE(files().Exists("..\\..\\..\\..\\..\\..\\..\\..\\..\\..\\x.txt"));
  Write("y.txt", "new");
  fs::current_path(before);
  EXPECT_EQ(directory_.Read("d/e/y.txt"), "new");
}

TEST_F(FileSystemTest, WritesReplacesAndRemoves) {
  const std::string path = Path("\x83\x5C\x95\x5C\x81\x60.txt");
  Write(path, "a longer text");
  {
    const auto host = files().OpenForReading(path);  // may still read an earlier answer
    Write(path, "short");
  }
  EXPECT_EQ(Read(path), "short");
  EXPECT_TRUE(fs::exists(directory_.path() / u8"\u30BD\u8868\uFF5E.txt"));
  EXPECT_NE(files().NativeName(path).find("\u30BD\u8868\uFF5E.txt"), std::string::npos);
  files().Remove(path);
  EXPECT_FALSE(fs::exists(directory_.path() / u8"\u30BD\u8868\uFF5E.txt"));
}

TEST_F(FileSystemTest, NamesThatAttackAreRefused) {
  Write(Path("file"), "untouched");
  fs::create_directory(directory_.path() / "below");
  const std::map<std::string, std::string> listing = Listing();
  const std::pair<std::string, const char*> names[] = {
    {"below.\\x", "the system would drop the dot"},
    {"below \\x", "and the blank"},
    {".. \\file", "a parent in disguise"},
    {"file:stream", "another stream of the file"},
    {"below\\NUL.txt", "a device"},
    {"a\x85\x40", "no character of the code page"},
    {"below", "a directory"},
    {"missing\\x", "no such directory"},
#if defined(_WIN32)
    {"file.", "the system would drop the dot"},
    {"file. . ", "and all of them"},
    {"...", "only dots"},
    {"a?b", "a pattern"},
    {"a|b", "not allowed by the system"},
#endif
  };
  for (const auto& [name, why] : names) {
    EXPECT_THROW((void)files().OpenForWriting(Path(name)), FileError) << why;
    files().Remove(Path(name));
    EXPECT_EQ(Listing(), listing) << why;
  }
  for (const char* path : {"", "C:file", "\\\\server\\share\\x", "CONIN$"}) {
    EXPECT_THROW((void)files().OpenForWriting(path), FileError) << path;
    EXPECT_FALSE(files().Exists(path)) << path;
  }
}

TEST_F(FileSystemTest, ReadsAnywhereAndNoticesAnotherFileInTheSamePlace) {
  const std::string path = Path("m.eml");
  Write(path, "0123456789");
  const auto file = files().OpenForReading(path);
  std::byte buffer[8];
  EXPECT_EQ(file->Size(), 10u);
  EXPECT_EQ(file->ReadAt(6, buffer), 4u);
  EXPECT_EQ(buffer[0], std::byte{'6'});
  EXPECT_EQ(file->ReadAt(10, buffer), 0u);
  EXPECT_EQ(file->ReadAt(~std::uint64_t{0}, buffer), 0u);

  tests::SetAge(directory_.path() / "m.eml", 60);
  const std::optional<std::uint64_t> stamp = files().FindChangeStamp(path);
  ASSERT_TRUE(stamp);
  EXPECT_EQ(files().FindChangeStamp(path), stamp);
  Write(Path("other"), "9876543210");
  tests::SetAge(directory_.path() / "other", 60);
  fs::rename(directory_.path() / "m.eml", directory_.path() / "old");
  fs::rename(directory_.path() / "other", directory_.path() / "m.eml");
  EXPECT_NE(files().FindChangeStamp(path), stamp);
}

TEST_F(FileSystemTest, StoredPathsLeadToTheStoresDrives) {
  directory_.Write("own.txt", "own");
  directory_.Write("disk/own.txt", "disk");
#if defined(_WIN32)
  const char* const MACHINE = "own";
#else
  const char* const MACHINE = "-";  // Z is this machine's root, and no drive of a store
#endif
  fs::create_directories(directory_.path() / "disk/Data/Mime");
  const struct {
    std::string path;
    const char* plain;     // contents, "-" for none
    const char* confined;  // the same with NIMPORT_CONFINE
  } cases[] = {
      {"Q:\\OWN.txt", "disk", "disk"},         {"Q:\\Data\\Mime\\..\\..\\own.txt", "disk", "disk"},
      {"\\own.txt", "disk", "disk"},           {Path("own.txt"), MACHINE, "-"},
      {"Q:\\..\\own.txt", "-", "-"},           {"own.txt", "-", "-"},
      {"Q:\\own.txt:stream", "-", "-"},        {"Q:\\NUL", "-", "-"},
      {"\\\\?\\" + Path("own.txt"), "-", "-"}, {"\\\\localhost\\c$\\own.txt", "-", "-"},
  };
  for (const auto& row : cases) {
    for (const bool isConfined : {false, true}) {
      platform_->settings["NIMPORT_CONFINE"] = isConfined ? "1" : "0";
      const StoredPath stored{.path = row.path, .storeDirectory = "Q:\\Data"};
      std::string contents = "-";
      try {
        EXPECT_TRUE(files().FindStoredChangeStamp(stored)) << row.path;
        contents = ReadWholeFile(*files().OpenStored(stored));
      } catch (const FileMissing&) {
      }
      EXPECT_EQ(contents, isConfined ? row.confined : row.plain) << row.path << isConfined;
    }
  }
}

TEST_F(FileSystemTest, ReadsVersionsOfExecutables) {
  const auto versionOf = [&](const std::string& contents) {
    Write(Path("Winnim.exe"), contents);
    return files().ReadFileVersion(Path("Winnim.exe"));
  };
  EXPECT_EQ(versionOf(mkstore::MakeExecutable("5, 1, 0, 2")), "5, 1, 0, 2");
  EXPECT_EQ(versionOf(mkstore::MakeExecutable(std::nullopt)), std::nullopt);
  EXPECT_EQ(versionOf("MZ, but no executable"), std::nullopt);
  EXPECT_EQ(files().ReadFileVersion(Path("missing.exe")), std::nullopt);
}

TEST_F(FileSystemTest, TemporaryDirectoriesArePrivateAndGoWithTheirOwnFiles) {
  const std::string path = files().MakeTemporaryDirectory();
  const std::string other = files().MakeTemporaryDirectory();
  EXPECT_NE(path, other);
  EXPECT_TRUE(path.starts_with(Path("tmp\\nimport-"))) << path;
  EXPECT_FALSE(path.ends_with('\\')) << path;
  tests::ExpectPrivate(Native(path));
  Write(path + "\\a.TMP", "a");
  Write(other + "\\a.TMP", "a");
  Write(other + "\\b.TMP", "b");

  // What a host renamed or put there is the host's.
  const fs::path shared = Native(other);
  fs::rename(shared / "b.TMP", shared / "renamed");
  fs::create_directory(shared / "host's");
  files().RemoveTemporaryDirectory(other);
  EXPECT_EQ(std::distance(fs::directory_iterator(shared), {}), 2);
  EXPECT_TRUE(fs::exists(shared / "renamed") && fs::exists(shared / "host's"));
  files().RemoveTemporaryDirectory(Path("tmp"));
  EXPECT_TRUE(files().Exists(path)) << "only what was made goes";
  fs::remove_all(shared);
  platform_.reset();  // the process ends with a directory left
  EXPECT_TRUE(fs::is_empty(tmp_));
}

TEST_F(FileSystemTest, TemporaryDirectoriesHaveFullPathsThatHostsCanRead) {
  const struct {
    const char8_t* setting;  // from the test's directory
    std::string begin;       // of the answered path, where it is known
    const char* why;
  } cases[] = {
      {u8"tmp", Path("tmp\\nimport-"), "relative"},
      {u8"./tmp/", Path("tmp\\nimport-"), "with a separator at the end"},
      {u8"\u8868", Path("\x95\x5C\\nimport-"), "the second byte of the name is '\\'"},
      {u8"J\u00F6rg", "", "no name in code page 932"},
      {u8"missing", "", "no directory"},
  };
  for (const char8_t* name : {u8"\u8868", u8"J\u00F6rg"})
    fs::create_directory(directory_.path() / name);
  const fs::path before = fs::current_path();
  for (const auto& row : cases) {
    UseTemporaryPlace(reinterpret_cast<const char*>(row.setting));
    fs::current_path(directory_.path());
    const std::string made = files().MakeTemporaryDirectory();
    fs::current_path(before);
    EXPECT_TRUE(made.starts_with(row.begin)) << row.why << ": " << made;
    Write(made + "\\a.txt", "a");
    EXPECT_EQ(Read(made + "\\a.txt"), "a") << row.why;
    files().RemoveTemporaryDirectory(made);
    EXPECT_FALSE(files().Exists(made)) << row.why;
  }
  EXPECT_TRUE(fs::is_empty(tmp_));
}

TEST_F(FileSystemTest, TemporaryDirectoriesOfKilledProcessesGo) {
  directory_.Write("tmp/keep", "the user's");
  const fs::path asLeft = MakeLeftover("nimport-1");
  const fs::path withHosts = MakeLeftover("nimport-2");
  fs::create_directory(withHosts / "host's");
  const fs::path young = MakeLeftover("nimport-3", 0);
  const fs::path withoutLock = MakeLeftover("nimport-4");
  fs::remove(withoutLock / ".nimport-lock");
  // Its list leads out, and was not written whole.
  const fs::path odd = MakeLeftover("nimport-5", 60, {"../keep\0..\\keep\0..\0\0mail\0host's", 31});
  fs::create_directory(odd / "host's");
  const fs::path notOurs = MakeLeftover("other");
  tests::FakePlatform living;
  living.settings = platform_->settings;
  const fs::path kept = Native(living.system().files().MakeTemporaryDirectory());
  EXPECT_FALSE(fs::exists(asLeft));
  for (const fs::path& left : {withHosts, odd}) {
    EXPECT_FALSE(fs::exists(left / "mail")) << left;
    EXPECT_TRUE(fs::exists(left / "host's")) << left;
  }
  for (const fs::path& left : {young, withoutLock, notOurs})
    EXPECT_TRUE(fs::exists(left / "mail")) << left;
  EXPECT_EQ(directory_.Read("tmp/keep"), "the user's");
  tests::SetAge(kept / ".nimport-lock", 60);
  (void)files().MakeTemporaryDirectory();
  EXPECT_TRUE(fs::exists(kept)) << "its process lives";
}

}  // namespace
}  // namespace nimport::platform
