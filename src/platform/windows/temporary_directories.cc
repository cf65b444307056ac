#include "platform/windows/temporary_directories.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <exception>
#include <memory>

#include <windows.h>

// After windows.h, whose types they use.
#include <aclapi.h>
#include <ntsecapi.h>
#include <sddl.h>

#include "platform/windows/wide_text.h"

namespace nimport::platform::windows {
namespace {

// We make no directories in ours; whoever does so nests no deeper than this.
constexpr int MAX_DEPTH = 16;

constexpr std::wstring_view NAME_BEGINS = L"nimport-";

// Long enough for a process that has made its directory to lock it.
constexpr std::uint64_t LEFTOVER_TICKS = 60 * 10'000'000ULL;

struct LocalMemory {
  void operator()(void* memory) const { LocalFree(memory); }
};

// What the system hands out as a pointer to be freed.
template <typename T>
using LocalPointer = std::unique_ptr<T, LocalMemory>;

// A user as the texts of rights name one.
std::optional<std::wstring> ToText(PSID user) {
  wchar_t* text = nullptr;
  if (ConvertSidToStringSidW(user, &text) == FALSE) return std::nullopt;
  const LocalPointer<wchar_t> owned(text);
  return std::wstring(text);
}

// The process's user.
std::optional<std::wstring> FindUser() {
  HANDLE token = nullptr;
  if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token) == FALSE) return std::nullopt;
  alignas(TOKEN_USER) std::array<std::byte, sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE> buffer{};
  DWORD size = 0;
  const BOOL isKnown = GetTokenInformation(token, TokenUser, buffer.data(),
                                           static_cast<DWORD>(buffer.size()), &size);
  CloseHandle(token);
  if (isKnown == FALSE) return std::nullopt;
  return ToText(reinterpret_cast<const TOKEN_USER*>(buffer.data())->User.Sid);
}

std::optional<std::wstring> FindOwner(std::wstring path) {
  PSID owner = nullptr;
  PSECURITY_DESCRIPTOR rights = nullptr;
  if (GetNamedSecurityInfoW(path.data(), SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, &owner,
                            nullptr, nullptr, nullptr, &rights) != ERROR_SUCCESS) {
    return std::nullopt;
  }
  const LocalPointer<void> owned(rights);
  return ToText(owner);
}

// Everything for the process's user, nothing for others and nothing from the directory above.
LocalPointer<void> MakePrivateRights() {
  const std::optional<std::wstring> user = FindUser();
  PSECURITY_DESCRIPTOR rights = nullptr;
  if (!user || ConvertStringSecurityDescriptorToSecurityDescriptorW(
                   (L"O:" + *user + L"D:P(A;OICI;FA;;;" + *user + L")").c_str(), SDDL_REVISION_1,
                   &rights, nullptr) == FALSE) {
    return nullptr;
  }
  return LocalPointer<void>(rights);
}

std::optional<std::wstring> MakeName() {
  std::array<std::uint8_t, 8> random{};
  if (RtlGenRandom(random.data(), static_cast<ULONG>(random.size())) == FALSE) return std::nullopt;
  std::wstring name(NAME_BEGINS);
  for (const std::uint8_t byte : random) {
    constexpr std::wstring_view DIGITS = L"0123456789abcdef";
    name += DIGITS[byte >> 4];
    name += DIGITS[byte & 0xF];
  }
  return name;
}

// Whether a directory stands there, and no link to one.
bool IsDirectory(const std::wstring& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 &&
         (attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0;
}

struct SearchCloser {
  void operator()(void* search) const { FindClose(search); }
};

// Calls `visit` with each entry that the pattern fits, but not with "." and "..".
template <typename Visit>
void VisitEntries(const std::wstring& pattern, Visit visit) {
  WIN32_FIND_DATAW entry{};
  const HANDLE search = FindFirstFileW(pattern.c_str(), &entry);
  if (search == INVALID_HANDLE_VALUE) return;
  const std::unique_ptr<void, SearchCloser> owned(search);
  do {
    const std::wstring_view name = entry.cFileName;
    if (name != L"." && name != L"..") visit(entry);
  } while (FindNextFileW(search, &entry) != FALSE);
}

void RemoveDirectoryAndContents(const std::wstring& path, int depth);

void RemoveEntry(const std::wstring& path, DWORD attributes, int depth) {
  const bool isDirectory = (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
  const bool isLink = (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
  if ((attributes & FILE_ATTRIBUTE_READONLY) != 0) {
    SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
  }
  if (!isDirectory) {
    DeleteFileW(path.c_str());
  } else if (isLink) {
    RemoveDirectoryW(path.c_str());
  } else if (depth > 0) {
    RemoveDirectoryAndContents(path, depth - 1);
  }
}

// Without following links out of it.
void RemoveDirectoryAndContents(const std::wstring& path, int depth) {
  VisitEntries(path + L"\\*", [&](const WIN32_FIND_DATAW& entry) {
    RemoveEntry(path + L'\\' + entry.cFileName, entry.dwFileAttributes, depth);
  });
  RemoveDirectoryW(path.c_str());
}

// The file in a directory of ours that its process keeps open, so that nobody else can open it.
FileHandle OpenLock(const std::wstring& directory, DWORD creation) {
  return FileHandle(CreateFileW((directory + L"\\.nimport-lock").c_str(), GENERIC_WRITE, 0, nullptr,
                                creation, FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT,
                                nullptr));
}

std::uint64_t Ticks(const FILETIME& time) {
  return std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
}

// Whether the directory was made here by a process that has ended. In another user's directory
// things could move while it is emptied.
bool IsLeftover(const std::wstring& directory) {
  const std::optional<std::wstring> owner = FindOwner(directory);
  if (!IsDirectory(directory) || !owner || owner != FindUser()) return false;
  const FileHandle lock = OpenLock(directory, OPEN_EXISTING);
  BY_HANDLE_FILE_INFORMATION info{};
  FILETIME now{};
  GetSystemTimeAsFileTime(&now);
  return lock.IsOpen() && GetFileInformationByHandle(lock.get(), &info) != FALSE &&
         Ticks(info.ftLastWriteTime) + LEFTOVER_TICKS < Ticks(now);
}

void RemoveLeftovers(const std::wstring& parent) {
  const std::wstring begin = parent + L'\\';
  VisitEntries(begin + std::wstring(NAME_BEGINS) + L'*', [&](const WIN32_FIND_DATAW& entry) {
    const std::wstring path = begin + entry.cFileName;
    if (IsLeftover(path)) RemoveDirectoryAndContents(path, MAX_DEPTH);
  });
}

// The name of a directory that older programs use, without letters of any language. Empty when it
// has none.
std::optional<std::wstring> FindShortName(const std::wstring& directory) {
  std::wstring name(GetShortPathNameW(directory.c_str(), nullptr, 0), L'\0');
  const DWORD length =
      GetShortPathNameW(directory.c_str(), name.data(), static_cast<DWORD>(name.size()));
  if (length == 0 || length >= name.size()) return std::nullopt;
  name.resize(length);
  return name;
}

}  // namespace

std::vector<std::wstring> TemporaryDirectories::Candidates() const {
  std::vector<std::wstring> candidates;
  const auto addFromSetting = [&](const char* name) {
    if (const auto value = settings_(name)) candidates.push_back(WideFromUtf8(*value));
  };
  addFromSetting("TMP");
  addFromSetting("TEMP");
  std::array<wchar_t, MAX_PATH + 1> system{};
  if (GetTempPathW(static_cast<DWORD>(system.size()), system.data()) <= MAX_PATH) {
    candidates.emplace_back(system.data());
  }
  const std::vector<std::wstring> longNames = candidates;
  for (const std::wstring& name : longNames) {
    if (std::optional<std::wstring> shortName = FindShortName(name)) {
      candidates.push_back(*std::move(shortName));
    }
  }
  addFromSetting("ProgramData");
  return candidates;
}

std::optional<TemporaryDirectories::Made> TemporaryDirectories::MakeBelow(
    const std::wstring& parent) {
  const std::optional<std::string> inCodePage = paths_.ToCodePage(parent);
  const LocalPointer<void> rights = MakePrivateRights();
  const std::optional<std::wstring> name = MakeName();
  if (!inCodePage || !rights || !name) return std::nullopt;
  const std::string codePagePath = *inCodePage + '\\' + Utf8FromWide(*name);
  const std::optional<std::wstring> path = paths_.FindOwn(codePagePath);
  if (!path) return std::nullopt;
  Made made{.path = *path, .codePagePath = codePagePath, .lock = {}};
  SECURITY_ATTRIBUTES attributes{
      .nLength = sizeof attributes, .lpSecurityDescriptor = rights.get(), .bInheritHandle = FALSE};
  if (!std::exchange(hasLookedForLeftovers_, true)) {
    RemoveLeftovers(path->substr(0, path->rfind(L'\\')));
  }
  if (CreateDirectoryW(made.path.c_str(), &attributes) == FALSE) return std::nullopt;
  made.lock = OpenLock(made.path, CREATE_NEW);
  return made;
}

std::optional<std::string> TemporaryDirectories::Make() {
  const std::lock_guard lock(mutex_);
  for (const std::wstring& candidate : Candidates()) {
    std::optional<Made> made = MakeBelow(candidate);
    if (!made) continue;
    made_.push_back(*std::move(made));
    return made_.back().codePagePath;
  }
  return std::nullopt;
}

void TemporaryDirectories::Remove(std::string_view codePagePath) noexcept {
  const std::lock_guard lock(mutex_);
  const auto made = std::ranges::find(made_, codePagePath, &Made::codePagePath);
  if (made == made_.end()) return;
  RemoveFromDisk(*made);
  made_.erase(made);
}

TemporaryDirectories::~TemporaryDirectories() {
  for (Made& made : made_)
    RemoveFromDisk(made);
}

void TemporaryDirectories::RemoveFromDisk(Made& made) noexcept {
  made.lock = FileHandle();
  try {
    if (IsDirectory(made.path)) RemoveDirectoryAndContents(made.path, MAX_DEPTH);
  } catch (const std::exception&) {
    // Out of memory: the directory stays.
  }
}

}  // namespace nimport::platform::windows
