#include "platform/windows/windows_file_system.h"

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>

#include <aclapi.h>
#include <gtest/gtest.h>
#include <windows.h>

#include "common/test_directory.h"
#include "mkstore/executable.h"
#include "platform/windows/wide_text.h"
#include "text/code_page_converter.h"

namespace nimport::platform::windows {
namespace {

namespace fs = std::filesystem;

class WindowsFileSystemTest : public testing::Test {
 protected:
  WindowsFileSystemTest() : base_(fs::absolute(directory_.path()).make_preferred().string()) {
    settings_["TMP"] = base_;
  }

  // A path of this machine below the test's directory, in code page 932.
  [[nodiscard]] std::string Path(std::string_view name) const {
    return base_ + "\\" + std::string(name);
  }

  void Write(const std::string& path, std::string_view content) {
    const auto file = files_.OpenForWriting(path);
    file->Write(std::as_bytes(std::span(content)));
    file->Close();
  }
  std::string Read(const std::string& path) { return ReadWholeFile(*files_.OpenForReading(path)); }

  // Everything below the directory.
  [[nodiscard]] std::size_t CountEntries() const {
    std::size_t count = 0;
    for ([[maybe_unused]] const auto& entry : fs::recursive_directory_iterator(directory_.path()))
      ++count;
    return count;
  }

  tests::TestDirectory directory_;
  std::string base_;
  std::map<std::string, std::string> settings_;
  text::CodePageConverter text_;
  WindowsFileSystem files_{[this](const char* name) -> std::optional<std::string> {
                             const auto found = settings_.find(name);
                             if (found == settings_.end()) return std::nullopt;
                             return found->second;
                           },
                           text_};
};

// Whether a group of users has any right.
bool IsAllowedAnything(PACL rights, WELL_KNOWN_SID_TYPE group) {
  BYTE sid[SECURITY_MAX_SID_SIZE];
  DWORD size = sizeof sid;
  EXPECT_NE(CreateWellKnownSid(group, nullptr, sid, &size), FALSE);
  for (DWORD i = 0; i < rights->AceCount; ++i) {
    void* entry = nullptr;
    EXPECT_NE(GetAce(rights, i, &entry), FALSE);
    const auto* allowed = static_cast<const ACCESS_ALLOWED_ACE*>(entry);
    if (allowed->Header.AceType != ACCESS_ALLOWED_ACE_TYPE || allowed->Mask == 0) continue;
    if (EqualSid(const_cast<DWORD*>(&allowed->SidStart), sid) != FALSE) return true;
  }
  return false;
}

TEST_F(WindowsFileSystemTest, JapaneseNamesAreThoseOfTheSystem) {
  // The second byte of each of the first two characters is a backslash.
  const std::string name = Path("\x83\x5C\x95\x5C\x81\x60.txt");
  Write(name, "contents");
  EXPECT_TRUE(fs::exists(directory_.path() / L"\u30BD\u8868\uFF5E.txt"));
  EXPECT_EQ(Read(name), "contents");
  EXPECT_TRUE(files_.Exists(Path("\x83\x5C\x95\x5C\x81\x60.TXT"))) << "letter case does not matter";
  EXPECT_NE(files_.NativeName(name).find("\u30BD\u8868\uFF5E.txt"), std::string::npos);
  files_.Remove(name);
  EXPECT_FALSE(files_.Exists(name));
  EXPECT_THROW((void)files_.OpenForReading(name), FileError);
}

TEST_F(WindowsFileSystemTest, PathsMayBeLong) {
  std::string path = base_;
  for (int i = 0; i < 4; ++i) {
    path += "\\" + std::string(80, static_cast<char>('a' + i));
    ASSERT_NE(CreateDirectoryW((std::wstring(LONG_PREFIX) + WideFromUtf8(path)).c_str(), nullptr),
              FALSE);
  }
  path += "\\file.txt";
  ASSERT_GT(path.size(), std::size_t{MAX_PATH});
  Write(path, "long");
  EXPECT_EQ(Read(path), "long");
  EXPECT_TRUE(files_.FindChangeStamp(path));
  files_.Remove(path);
  EXPECT_FALSE(files_.Exists(path));
}

TEST_F(WindowsFileSystemTest, NamesThatAttackAreRefused) {
  Write(Path("file"), "untouched");
  fs::create_directory(directory_.path() / "below");
  const std::size_t entries = CountEntries();
  const struct {
    std::string name;
    const char* why;
  } CASES[] = {
      {"file.", "the system would drop the dot"},
      {"file ", "and the blank"},
      {"file. . ", "and all of them"},
      {"below.\\x", "of a directory, too"},
      {"below \\x", "of a directory, too"},
      {"...", "only dots"},
      {".. \\file", "a parent in disguise"},
      {"file:stream", "another stream of the file"},
      {"file::$DATA", "the file by its stream"},
      {":x", "no name at all"},
      {"NUL", "a device"},
      {"nul.txt", "with an extension"},
      {"below\\CON", "in a directory"},
      {"COM1", "a serial line"},
      {"lpt9.x.y", "a printer"},
      {"aux .txt", "with a blank"},
      {"CONOUT$", "the console"},
      {{"file\0x", 6}, "a NUL"},
      {"a\x85\x40", "no character of the code page"},
      {"a?b", "a pattern"},
      {"a*", "a pattern"},
      {"a|b", "not allowed by the system"},
      {"below", "a directory"},
      {"missing\\x", "no such directory"},
  };
  for (const auto& row : CASES) {
    EXPECT_THROW((void)files_.OpenForWriting(Path(row.name)), FileError) << row.why;
    files_.Remove(Path(row.name));
    EXPECT_EQ(CountEntries(), entries) << row.why;
  }
  EXPECT_EQ(Read(Path("file")), "untouched");
  for (const char* path : {"", "C:file", "\\\\server\\share\\x", "\\\\?\\C:\\x", "\\\\.\\NUL",
                           "C:\\..\\x", "1:\\x", "NUL", "CONIN$"}) {
    EXPECT_THROW((void)files_.OpenForWriting(path), FileError) << path;
    EXPECT_THROW((void)files_.OpenForReading(path), FileError) << path;
    EXPECT_FALSE(files_.Exists(path)) << path;
  }
}

TEST_F(WindowsFileSystemTest, ParentsAreLexical) {
  Write(Path("x.txt"), "here");
  EXPECT_EQ(Read(Path("missing\\..\\x.txt")), "here");
  EXPECT_EQ(Read(Path("a/b/../../.\\x.txt")), "here");
  const fs::path before = fs::current_path();
  fs::create_directories(directory_.path() / "d\\e");
  fs::current_path(directory_.path() / "d\\e");
  EXPECT_EQ(Read("..\\..\\x.txt"), "here");
  EXPECT_EQ(Read(Path("x.txt").substr(2)), "here") << "on the current drive";
  EXPECT_FALSE(files_.Exists("..\\..\\..\\..\\..\\..\\..\\..\\..\\..\\x.txt"));
  fs::current_path(before);
}

TEST_F(WindowsFileSystemTest, ARunningMailClientIsNotDisturbed) {
  const std::string path = Path("Cabdata.mdb");
  Write(path, "first");
  const std::wstring wide = WideFromUtf8(path);
  const auto openAsClient = [&](DWORD share) {
    return CreateFileW(wide.c_str(), GENERIC_READ | GENERIC_WRITE, share, nullptr, OPEN_EXISTING, 0,
                       nullptr);
  };
  const HANDLE client = openAsClient(FILE_SHARE_READ | FILE_SHARE_WRITE);
  ASSERT_NE(client, INVALID_HANDLE_VALUE);
  {
    const auto file = files_.OpenForReading(path);
    const std::uint64_t stamp = file->ChangeStamp();
    DWORD count = 0;
    EXPECT_NE(WriteFile(client, "second!", 7, &count, nullptr), FALSE);
    EXPECT_EQ(ReadWholeFile(*file), "second!");
    EXPECT_NE(file->ChangeStamp(), stamp);
    CloseHandle(client);
    // It may open the file again, compact it into another one and put that in its place.
    const HANDLE again = openAsClient(FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE);
    EXPECT_NE(again, INVALID_HANDLE_VALUE);
    CloseHandle(again);
    EXPECT_NE(MoveFileW(wide.c_str(), (wide + L".old").c_str()), FALSE);
  }
  EXPECT_FALSE(files_.Exists(path));
  const HANDLE exclusive =
      CreateFileW((wide + L".old").c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  EXPECT_NE(exclusive, INVALID_HANDLE_VALUE) << "nothing is left open";
  EXPECT_THROW((void)files_.OpenForReading(path + ".old"), FileError);
  CloseHandle(exclusive);
}

TEST_F(WindowsFileSystemTest, WritingReplacesWhatIsThere) {
  const std::string path = Path("$$$nim.txt");
  Write(path, "a longer text");
  // A host may still read the file of an earlier answer.
  const HANDLE host =
      CreateFileW(WideFromUtf8(path).c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                  nullptr, OPEN_EXISTING, 0, nullptr);
  Write(path, "short");
  CloseHandle(host);
  EXPECT_EQ(Read(path), "short");
}

TEST_F(WindowsFileSystemTest, TemporaryDirectoriesArePrivateAndGo) {
  const std::string first = files_.MakeTemporaryDirectory();
  const std::string second = files_.MakeTemporaryDirectory();
  EXPECT_NE(first, second);
  EXPECT_TRUE(first.starts_with(base_ + "\\")) << first;
  PACL rights = nullptr;
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  ASSERT_EQ(
      GetNamedSecurityInfoW(WideFromUtf8(first).data(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION,
                            nullptr, nullptr, &rights, nullptr, &descriptor),
      static_cast<DWORD>(ERROR_SUCCESS));
  ASSERT_NE(rights, nullptr);
  for (const WELL_KNOWN_SID_TYPE others :
       {WinWorldSid, WinBuiltinUsersSid, WinAuthenticatedUserSid}) {
    EXPECT_FALSE(IsAllowedAnything(rights, others)) << others;
  }
  LocalFree(descriptor);

  Write(first + "\\a.txt", "a");
  files_.RemoveTemporaryDirectory(base_);
  EXPECT_TRUE(files_.Exists(first)) << "only what was made goes";
  files_.RemoveTemporaryDirectory(first);
  EXPECT_FALSE(files_.Exists(first));
  // What a host renamed is the host's.
  Write(second + "\\a.txt", "a");
  fs::rename(fs::path(second) / "a.txt", fs::path(second) / "mine.txt");
  files_.RemoveTemporaryDirectory(second);
  EXPECT_TRUE(files_.Exists(second + "\\mine.txt"));
  EXPECT_FALSE(files_.Exists(second + "\\.nimport-lock"));
  fs::remove_all(second);
  EXPECT_TRUE(fs::is_empty(directory_.path()));
}

TEST_F(WindowsFileSystemTest, TemporaryDirectoriesHaveFullPaths) {
  const fs::path before = fs::current_path();
  fs::create_directory(directory_.path() / "tmp");
  fs::current_path(directory_.path());
  std::string slashes = base_ + "/tmp/";
  for (const std::string& setting : {std::string("tmp"), std::string(".\\tmp\\"), slashes}) {
    settings_["TMP"] = setting;
    const std::string made = files_.MakeTemporaryDirectory();
    EXPECT_TRUE(made.starts_with(base_ + "\\tmp\\nimport-")) << setting;
    files_.RemoveTemporaryDirectory(made);
  }
  fs::current_path(before);
  EXPECT_TRUE(fs::is_empty(directory_.path() / "tmp"));
}

// Of a file that somebody may have open for himself.
void SetAge(const fs::path& file, int minutes) {
  FILETIME time{};
  GetSystemTimeAsFileTime(&time);
  constexpr std::uint64_t TICKS_PER_MINUTE = 600'000'000;
  const std::uint64_t ticks = (std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime) -
                              static_cast<std::uint64_t>(minutes) * TICKS_PER_MINUTE;
  time = {.dwLowDateTime = static_cast<DWORD>(ticks),
          .dwHighDateTime = static_cast<DWORD>(ticks >> 32)};
  const HANDLE handle = CreateFileW(file.c_str(), FILE_WRITE_ATTRIBUTES,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    OPEN_EXISTING, 0, nullptr);
  EXPECT_NE(SetFileTime(handle, nullptr, nullptr, &time), FALSE) << file;
  CloseHandle(handle);
}

TEST_F(WindowsFileSystemTest, TemporaryDirectoriesOfKilledProcessesGo) {
  // Each with a file that says since when; the second is young, the third is not ours.
  const struct {
    const char* name;
    const char* lock;
    int minutes;
    bool goes;
  } CASES[] = {{"nimport-0123456789abcdef", ".nimport-lock", 5, true},
               {"nimport-1123456789abcdef", ".nimport-lock", 0, false},
               {"nimport-photos", "a.txt", 5, false},
               {"other", ".nimport-lock", 5, false}};
  for (const auto& row : CASES) {
    const std::string file = std::string(row.name) + "/" + row.lock;
    directory_.Write(std::string(row.name) + "/mail.txt", "mail");
    directory_.Write(std::string(row.name) + "/host.txt", "host's");
    directory_.Write(file, std::string("mail.txt\0..\\other\\host.txt\0", 28));
    SetAge(directory_.path() / file, row.minutes);
  }
  WindowsFileSystem another([this](const char*) { return std::optional(base_); }, text_);
  const std::string kept = another.MakeTemporaryDirectory();
  SetAge(fs::path(kept) / ".nimport-lock", 5);
  const std::string made = files_.MakeTemporaryDirectory();
  EXPECT_TRUE(fs::exists(kept)) << "its process lives";
  for (const auto& row : CASES) {
    EXPECT_EQ(fs::exists(directory_.path() / row.name / "mail.txt"), !row.goes) << row.name;
    EXPECT_TRUE(fs::exists(directory_.path() / row.name / "host.txt")) << row.name;
  }
}

// A user whose name code page 932 cannot spell.
TEST_F(WindowsFileSystemTest, TemporaryDirectoriesHaveAPathThatHostsCanRead) {
  const fs::path odd = directory_.path() / L"J\u00F6rg";
  fs::create_directory(odd);
  settings_["TMP"] = Utf8FromWide(odd.wstring());
  const std::string made = files_.MakeTemporaryDirectory();
  Write(made + "\\a.txt", "a");
  EXPECT_TRUE(fs::exists(fs::path(made) / "a.txt")) << made;
  files_.RemoveTemporaryDirectory(made);
  EXPECT_FALSE(files_.Exists(made));
}

TEST_F(WindowsFileSystemTest, MovedDrivesAreForReadingOnly) {
  Write(Path("mail.txt"), "mail");
  settings_["NIMPORT_DRIVES"] = "Q=" + base_ + ";R=" + base_ + "\\";
  EXPECT_EQ(Read("Q:\\mail.txt"), "mail");
  EXPECT_EQ(Read("r:/sub/../MAIL.TXT"), "mail");
  EXPECT_FALSE(files_.Exists("Q:\\..\\mail.txt"));
  EXPECT_THROW((void)files_.OpenForWriting("Q:\\new.txt"), FileError);
  files_.Remove("Q:\\mail.txt");
  EXPECT_EQ(Read("Q:\\mail.txt"), "mail");
}

TEST_F(WindowsFileSystemTest, StoredPathsLeadToTheStoresDrives) {
  Write(Path("own.txt"), "own");
  fs::create_directories(directory_.path() / "disk/Data/Mime");
  Write(Path("disk\\own.txt"), "disk");
  settings_["NIMPORT_DRIVES"] = "Q=" + base_ + "\\disk";
  const struct {
    std::string path;
    const char* plain;     // contents, "-" for none
    const char* confined;  // the same with NIMPORT_CONFINE
  } CASES[] = {
      {"Q:\\OWN.txt", "disk", "disk"},         {"Q:\\Data\\Mime\\..\\..\\own.txt", "disk", "disk"},
      {"\\own.txt", "disk", "disk"},           {Path("own.txt"), "own", "-"},
      {"Q:\\..\\own.txt", "-", "-"},           {"own.txt", "-", "-"},
      {"Q:\\own.txt:stream", "-", "-"},        {"Q:\\NUL", "-", "-"},
      {"\\\\?\\" + Path("own.txt"), "-", "-"}, {"\\\\localhost\\c$\\own.txt", "-", "-"},
  };
  for (const auto& row : CASES) {
    for (const bool isConfined : {false, true}) {
      settings_["NIMPORT_CONFINE"] = isConfined ? "1" : "0";
      const StoredPath stored{.path = row.path, .storeDirectory = "Q:\\Data"};
      std::string contents = "-";
      try {
        EXPECT_TRUE(files_.FindStoredChangeStamp(stored)) << row.path;
        contents = ReadWholeFile(*files_.OpenStored(stored));
      } catch (const FileMissing&) {
      }
      EXPECT_EQ(contents, isConfined ? row.confined : row.plain) << row.path << isConfined;
    }
  }
}

TEST_F(WindowsFileSystemTest, ReadsVersionsOfExecutables) {
  const auto versionOf = [&](const std::optional<std::string>& version) {
    Write(Path("Winnim.exe"), mkstore::MakeExecutable(version));
    return files_.ReadFileVersion(Path("Winnim.exe"));
  };
  EXPECT_EQ(versionOf("5, 1, 0, 2"), "5, 1, 0, 2");
  EXPECT_EQ(versionOf("4.99"), "4.99");
  EXPECT_EQ(versionOf(std::nullopt), std::nullopt);
  Write(Path("Winnim.exe"), "MZ, but no executable");
  EXPECT_EQ(files_.ReadFileVersion(Path("Winnim.exe")), std::nullopt);
  EXPECT_EQ(files_.ReadFileVersion(Path("missing.exe")), std::nullopt);
}

TEST_F(WindowsFileSystemTest, ChangeStampsTellAnotherFileInTheSamePlace) {
  const std::string path = Path("m.eml");
  EXPECT_EQ(files_.FindChangeStamp(path), std::nullopt);
  EXPECT_EQ(files_.FindChangeStamp(base_), std::nullopt) << "a directory";
  Write(path, "one");
  Sleep(100);
  const std::optional<std::uint64_t> stamp = files_.FindChangeStamp(path);
  ASSERT_TRUE(stamp);
  EXPECT_EQ(files_.FindChangeStamp(path), stamp);
  Write(Path("other"), "two");
  fs::rename(Path("other"), path);
  EXPECT_NE(files_.FindChangeStamp(path), stamp);
}

}  // namespace
}  // namespace nimport::platform::windows
