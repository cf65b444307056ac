#include "platform/private_directory.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <set>
#include <utility>

#include <windows.h>

// After windows.h, whose types they use.
#include <aclapi.h>
#include <ntsecapi.h>
#include <sddl.h>

#include "platform/windows/file_handle.h"
#include "platform/windows/native_paths.h"
#include "platform/windows/wide_text.h"
#include "platform/windows/windows_file.h"

namespace nimport::platform {
namespace windows {
namespace {

constexpr std::wstring_view NAME_BEGINS = L"nimport-";
constexpr std::wstring_view LOCK_NAME = L"\\.nimport-lock";

// More names than any session hands out; who wrote more wrote something else.
constexpr std::size_t MAX_LIST_BYTES = 64 << 20;

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

// The file in a directory of ours that its process keeps open, so that nobody else can open it.
FileHandle OpenLock(const std::wstring& directory, DWORD creation) {
  return FileHandle(CreateFileW((directory + std::wstring(LOCK_NAME)).c_str(),
                                GENERIC_READ | GENERIC_WRITE, 0, nullptr, creation,
                                FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
}

template <typename Names>
void RemoveListed(const std::wstring& directory, const Names& names) {
  for (const std::string& name : names)
    DeleteFileW((directory + L'\\' + WideFromUtf8(name)).c_str());
  // Last, so that a directory whose removal is interrupted is still recognised. One that stays for
  // what the user put there is not looked at again.
  DeleteFileW((directory + std::wstring(LOCK_NAME)).c_str());
  RemoveDirectoryW(directory.c_str());
}

class WindowsPrivateDirectory final : public PrivateDirectory {
 public:
  // `path` was just made.
  explicit WindowsPrivateDirectory(std::wstring path)
      : path_(std::move(path)), name_(DisplayName(path_)), lock_(OpenLock(path_, CREATE_NEW)) {}

  ~WindowsPrivateDirectory() override {
    lock_ = FileHandle();
    try {
      if (IsDirectory(path_)) RemoveListed(path_, names_);
    } catch (const std::exception&) {
      // Out of memory: the directory stays.
    }
  }

  [[nodiscard]] const std::string& path() const override { return name_; }

  void List(const std::string& name) override {
    if (!names_.insert(name).second || !lock_.IsOpen()) return;
    // A list that cannot be written is no reason to do without the file.
    DWORD written = 0;
    WriteFile(lock_.get(), name.c_str(), static_cast<DWORD>(name.size() + 1), &written, nullptr);
  }

 private:
  std::wstring path_;  // full, with its prefix
  std::string name_;
  FileHandle lock_;
  std::set<std::string> names_;
};

std::uint64_t Ticks(const FILETIME& time) {
  return std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
}

// Whether the open lock file was last written long enough ago.
bool IsOld(const FileHandle& lock) {
  BY_HANDLE_FILE_INFORMATION info{};
  FILETIME now{};
  GetSystemTimeAsFileTime(&now);
  return GetFileInformationByHandle(lock.get(), &info) != FALSE &&
         Ticks(info.ftLastWriteTime) + LEFTOVER_TICKS < Ticks(now);
}

std::string ReadList(const FileHandle& lock) {
  std::string contents;
  std::array<char, 4096> piece{};
  while (contents.size() < MAX_LIST_BYTES) {
    DWORD size = 0;
    if (ReadFile(lock.get(), piece.data(), static_cast<DWORD>(piece.size()), &size, nullptr) ==
            FALSE ||
        size == 0) {
      break;
    }
    contents.append(piece.data(), size);
  }
  return contents;
}

// Removes a directory that was made here by a process that has ended. In another user's directory
// things could move while it is emptied.
void RemoveLeftover(const std::wstring& directory) {
  const std::optional<std::wstring> owner = FindOwner(directory);
  if (!IsDirectory(directory) || !owner || owner != FindUser()) return;
  FileHandle lock = OpenLock(directory, OPEN_EXISTING);
  if (!lock.IsOpen() || !IsOld(lock)) return;
  const std::vector<std::string> names = ParseListedNames(ReadList(lock));
  lock = FileHandle();
  RemoveListed(directory, names);
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

// The full path of a directory, with its prefix. Throws FileError.
std::wstring RequireFullPath(const std::string& directory) {
  std::optional<std::wstring> full = ToFullPath(WideFromUtf8(directory));
  if (!full) throw FileError(directory + ": is not a path that can be opened");
  while (full->ends_with(L'\\'))
    full->pop_back();
  return *std::move(full);
}

}  // namespace
}  // namespace windows

std::unique_ptr<PrivateDirectory> MakePrivateDirectory(const std::string& parent) {
  using namespace windows;
  const LocalPointer<void> rights = MakePrivateRights();
  const std::optional<std::wstring> name = MakeName();
  if (!rights || !name) throw FileError(parent + ": no private directory can be made");
  const std::wstring path = RequireFullPath(parent) + L'\\' + *name;
  SECURITY_ATTRIBUTES attributes{
      .nLength = sizeof attributes, .lpSecurityDescriptor = rights.get(), .bInheritHandle = FALSE};
  if (CreateDirectoryW(path.c_str(), &attributes) == FALSE) {
    FailFile(parent, "a directory cannot be made there", GetLastError());
  }
  try {
    return std::make_unique<WindowsPrivateDirectory>(path);
  } catch (...) {
    RemoveDirectoryW(path.c_str());
    throw;
  }
}

void RemoveLeftoverDirectories(const std::string& parent) noexcept {
  using namespace windows;
  try {
    const std::wstring begin = RequireFullPath(parent) + L'\\';
    VisitEntries(begin + std::wstring(NAME_BEGINS) + L'*',
                 [&](const WIN32_FIND_DATAW& entry) { RemoveLeftover(begin + entry.cFileName); });
  } catch (const std::exception&) {
    // Out of memory: the rest stays for the next process.
  }
}

std::vector<std::string> FindTemporaryPlaces(const Settings& settings) {
  std::vector<std::string> places;
  const auto addSetting = [&](const char* name) {
    if (auto value = settings(name)) places.push_back(*std::move(value));
  };
  addSetting("TMP");
  addSetting("TEMP");
  std::array<wchar_t, MAX_PATH + 1> system{};
  if (GetTempPathW(static_cast<DWORD>(system.size()), system.data()) <= MAX_PATH) {
    places.push_back(windows::Utf8FromWide(system.data()));
  }
  const std::vector<std::string> longNames = places;
  for (const std::string& name : longNames) {
    if (const auto shortName = windows::FindShortName(windows::WideFromUtf8(name))) {
      places.push_back(windows::Utf8FromWide(*shortName));
    }
  }
  addSetting("ProgramData");
  return places;
}

}  // namespace nimport::platform
