#include "platform/windows/windows_file_system.h"

#include <cstdint>
#include <filesystem>
#include <string>

#include <aclapi.h>
#include <gtest/gtest.h>
#include <windows.h>

#include "platform/file_system_fixture.h"
#include "platform/windows/native_paths.h"
#include "platform/windows/wide_text.h"

namespace nimport {
namespace platform::windows {
namespace {

namespace fs = std::filesystem;

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

}  // namespace
}  // namespace platform::windows

void tests::SetAge(const std::filesystem::path& file, int minutes) {
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

void tests::ExpectPrivate(const std::filesystem::path& directory) {
  PACL rights = nullptr;
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  std::wstring name = directory.wstring();
  ASSERT_EQ(GetNamedSecurityInfoW(name.data(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr,
                                  nullptr, &rights, nullptr, &descriptor),
            static_cast<DWORD>(ERROR_SUCCESS));
  ASSERT_NE(rights, nullptr);
  for (const WELL_KNOWN_SID_TYPE others :
       {WinWorldSid, WinBuiltinUsersSid, WinAuthenticatedUserSid}) {
    EXPECT_FALSE(platform::windows::IsAllowedAnything(rights, others)) << others;
  }
  LocalFree(descriptor);
}

namespace platform::windows {
namespace {

using WindowsFileSystemTest = tests::FileSystemFixture;

TEST_F(WindowsFileSystemTest, PathsMayBeLong) {
  std::string path = Path("long");
  CreateDirectoryW(WideFromUtf8(path).c_str(), nullptr);
  for (int i = 0; i < 4; ++i) {
    path += "\\" + std::string(80, static_cast<char>('a' + i));
    ASSERT_NE(CreateDirectoryW((std::wstring(LONG_PREFIX) + WideFromUtf8(path)).c_str(), nullptr),
              FALSE);
  }
  path += "\\file.txt";
  ASSERT_GT(path.size(), std::size_t{MAX_PATH});
  Write(path, "long");
  EXPECT_EQ(Read(path), "long");
  EXPECT_TRUE(files().FindChangeStamp(path));
  files().Remove(path);
  EXPECT_FALSE(files().Exists(path));
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
    const auto file = files().OpenForReading(path);
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
  EXPECT_FALSE(files().Exists(path));
  const HANDLE exclusive =
      CreateFileW((wide + L".old").c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  EXPECT_NE(exclusive, INVALID_HANDLE_VALUE) << "nothing is left open";
  EXPECT_THROW((void)files().OpenForReading(path + ".old"), FileError);
  CloseHandle(exclusive);
}

TEST_F(WindowsFileSystemTest, MappedDrivesAreForReadingOnly) {
  directory_.Write("disk/mail.txt", "mail");
  EXPECT_THROW((void)files().OpenForWriting("Q:\\new.txt"), FileError);
  files().Remove("Q:\\mail.txt");
  EXPECT_EQ(Read("Q:\\mail.txt"), "mail");
  platform_->settings["NIMPORT_DRIVES"] = "R=" + directory_.str() + "\\disk\\";
  EXPECT_EQ(Read("r:/sub/../MAIL.TXT"), "mail") << "a separator at the end";
}

}  // namespace
}  // namespace platform::windows
}  // namespace nimport
