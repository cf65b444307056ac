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

struct LocalMemory {
  void operator()(void* memory) const { LocalFree(memory); }
};

// What the system hands out as a pointer to be freed.
template <typename T>
using LocalPointer = std::unique_ptr<T, LocalMemory>;

// The process's user, as the texts of rights name it.
std::optional<std::wstring> FindUser() {
  HANDLE token = nullptr;
  if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token) == FALSE) return std::nullopt;
  alignas(TOKEN_USER) std::array<std::byte, sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE> buffer{};
  DWORD size = 0;
  const BOOL isKnown = GetTokenInformation(token, TokenUser, buffer.data(),
                                           static_cast<DWORD>(buffer.size()), &size);
  CloseHandle(token);
  wchar_t* text = nullptr;
  if (isKnown == FALSE ||
      ConvertSidToStringSidW(reinterpret_cast<const TOKEN_USER*>(buffer.data())->User.Sid, &text) ==
          FALSE) {
    return std::nullopt;
  }
  const LocalPointer<wchar_t> owned(text);
  return std::wstring(text);
}

// Everything for the process's user, nothing for others and nothing from the directory above.
LocalPointer<void> MakePrivateRights() {
  const std::optional<std::wstring> user = FindUser();
  PSECURITY_DESCRIPTOR rights = nullptr;
  if (!user || ConvertStringSecurityDescriptorToSecurityDescriptorW(
                   (L"D:P(A;OICI;FA;;;" + *user + L")").c_str(), SDDL_REVISION_1, &rights,
                   nullptr) == FALSE) {
    return nullptr;
  }
  return LocalPointer<void>(rights);
}

std::optional<std::wstring> MakeName() {
  std::array<std::uint8_t, 8> random{};
  if (RtlGenRandom(random.data(), static_cast<ULONG>(random.size())) == FALSE) return std::nullopt;
  std::wstring name = L"nimport-";
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
  WIN32_FIND_DATAW entry{};
  const HANDLE search = FindFirstFileW((path + L"\\*").c_str(), &entry);
  if (search != INVALID_HANDLE_VALUE) {
    do {
      const std::wstring_view name = entry.cFileName;
      if (name == L"." || name == L"..") continue;
      RemoveEntry(path + L'\\' + entry.cFileName, entry.dwFileAttributes, depth);
    } while (FindNextFileW(search, &entry) != FALSE);
    FindClose(search);
  }
  RemoveDirectoryW(path.c_str());
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
    const std::wstring& parent) const {
  const std::optional<std::string> inCodePage = paths_.ToCodePage(parent);
  const std::optional<std::wstring> fullParent =
      inCodePage ? paths_.FindOwn(*inCodePage) : std::nullopt;
  const LocalPointer<void> rights = MakePrivateRights();
  const std::optional<std::wstring> name = MakeName();
  if (!fullParent || !rights || !name || !IsDirectory(*fullParent)) return std::nullopt;
  Made made{.path = *fullParent + L'\\' + *name,
            .codePagePath = *inCodePage + '\\' + Utf8FromWide(*name)};
  SECURITY_ATTRIBUTES attributes{
      .nLength = sizeof attributes, .lpSecurityDescriptor = rights.get(), .bInheritHandle = FALSE};
  if (CreateDirectoryW(made.path.c_str(), &attributes) == FALSE) return std::nullopt;
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
  for (const Made& made : made_)
    RemoveFromDisk(made);
}

void TemporaryDirectories::RemoveFromDisk(const Made& made) noexcept {
  try {
    if (IsDirectory(made.path)) RemoveDirectoryAndContents(made.path, MAX_DEPTH);
  } catch (const std::exception&) {
    // Out of memory: the directory stays.
  }
}

}  // namespace nimport::platform::windows
