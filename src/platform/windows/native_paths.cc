#include "platform/windows/native_paths.h"

#include <windows.h>

#include "common/file_error.h"
#include "platform/windows/wide_text.h"

namespace nimport::platform::windows {
namespace {

constexpr std::wstring_view NETWORK_START = L"\\\\";

// The system drops these at a name's end, so that the name would be another one.
bool EndsInDroppedCharacter(std::string_view part) {
  return part.ends_with('.') || part.ends_with(' ');
}

// Takes the last directory off a full path, down to its drive or share.
void GoUp(std::wstring& directory) {
  const std::size_t fixed =
      directory.starts_with(UNC_PREFIX)
          ? directory.find(L'\\', directory.find(L'\\', UNC_PREFIX.size()) + 1)
          : LONG_PREFIX.size() + 2;
  const std::size_t last = directory.rfind(L'\\');
  if (fixed != std::wstring::npos && last != std::wstring::npos && last >= fixed) {
    directory.resize(last);
  }
}

void DropTrailingSeparators(std::wstring& path) {
  while (path.ends_with(L'\\'))
    path.pop_back();
}

// Where a path begins that names no drive.
std::optional<std::wstring> FindStart(const WindowsPath& path) {
  std::optional<std::wstring> start = ToFullPath(path.start == PathStart::Root ? L"\\" : L".");
  if (!start) return std::nullopt;
  DropTrailingSeparators(*start);
  for (unsigned i = 0; i < path.levelsUp; ++i)
    GoUp(*start);
  return start;
}

std::wstring DriveRoot(char letter) {
  return std::wstring(LONG_PREFIX) + static_cast<wchar_t>(letter) + L':';
}

}  // namespace

std::optional<std::wstring> ToFullPath(const std::wstring& path) {
  const std::wstring_view given = path;
  if (given.empty() || given.find(L'\0') != std::wstring_view::npos) return std::nullopt;
  if (given.starts_with(LONG_PREFIX)) return path;
  std::wstring full(GetFullPathNameW(path.c_str(), 0, nullptr, nullptr), L'\0');
  const DWORD length =
      GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
  if (length == 0 || length >= full.size()) return std::nullopt;
  full.resize(length);
  if (full.starts_with(L"\\\\.\\")) return std::nullopt;
  if (full.starts_with(NETWORK_START)) {
    return std::wstring(UNC_PREFIX) + full.substr(NETWORK_START.size());
  }
  return std::wstring(LONG_PREFIX) + full;
}

std::optional<std::wstring> NativePaths::Append(std::wstring start, const WindowsPath& path) const {
  for (const std::string& part : path.parts) {
    const std::optional<std::u16string> name = text_.ToUtf16Strict(part, text::CODE_PAGE_JAPANESE);
    if (!name || EndsInDroppedCharacter(part)) return std::nullopt;
    start.append(L"\\").append(ToWide(*name));
  }
  // A root is a directory only with its separator.
  if (path.parts.empty()) start += L'\\';
  return start;
}

std::optional<std::wstring> NativePaths::ResolveOwn(const WindowsPath& path) const {
  std::optional<std::wstring> start;
  if (path.start == PathStart::Drive) {
    start = DriveRoot(path.drive);
  } else if (path.start == PathStart::Network) {
    start = FindShare(path);
  } else {
    start = FindStart(path);
  }
  return start ? Append(*std::move(start), path) : std::nullopt;
}

std::optional<std::wstring> NativePaths::ResolveMapped(const WindowsPath& path) const {
  if (path.start != PathStart::Drive) return ResolveOwn(path);
  const std::optional<std::string> mapped = ReadDrive(settings_, path.drive);
  if (!mapped) return ResolveOwn(path);
  std::optional<std::wstring> start = ToFullPath(WideFromUtf8(*mapped));
  if (!start) return std::nullopt;
  DropTrailingSeparators(*start);
  return Append(*std::move(start), path);
}

std::optional<std::wstring> NativePaths::FindShare(const WindowsPath& path) const {
  const auto server = text_.ToUtf16Strict(path.server, text::CODE_PAGE_JAPANESE);
  const auto share = text_.ToUtf16Strict(path.share, text::CODE_PAGE_JAPANESE);
  if (!server || !share || EndsInDroppedCharacter(path.share)) return std::nullopt;
  return std::wstring(UNC_PREFIX) + ToWide(*server) + L'\\' + ToWide(*share);
}

std::optional<std::wstring> NativePaths::FindOwn(std::string_view path) const {
  const std::optional<WindowsPath> parsed = ParseWindowsPath(path);
  return parsed ? ResolveOwn(*parsed) : std::nullopt;
}

std::optional<std::wstring> NativePaths::FindMapped(std::string_view path) const {
  const std::optional<WindowsPath> parsed = ParseWindowsPath(path);
  return parsed ? ResolveMapped(*parsed) : std::nullopt;
}

std::vector<std::wstring> NativePaths::FindRoots(const StoredPath& stored,
                                                 const StoredTarget& target) const {
  std::vector<std::wstring> roots;
  bool isAllowed = target.isOnStoresDrive;
  for (const auto& [letter, directory] : ReadDrives(settings_)) {
    isAllowed = isAllowed || letter == target.path.drive;
    if (auto root = ToFullPath(WideFromUtf8(directory))) roots.push_back(*std::move(root));
  }
  if (!isAllowed) return {};
  if (auto directory = FindMapped(stored.storeDirectory + '\\')) {
    roots.push_back(*std::move(directory));
  }
  if (!target.isOnStoresDrive) return roots;
  WindowsPath root = target.path;
  root.parts.clear();
  root.levelsUp = 0;
  if (auto drive = ResolveMapped(root)) roots.push_back(*std::move(drive));
  return roots;
}

StoredPlace NativePaths::FindStored(const StoredPath& stored) const {
  const StoredTarget target = ParseStoredPath(stored, text_);
  StoredPlace place;
  const bool isConfined = ReadIsConfined(settings_);
  if (isConfined) place.roots = FindRoots(stored, target);
  if (isConfined && place.roots.empty()) {
    throw FileMissing(DisplayPath(stored.path, text_),
                      "no directory is given for drive " + std::string{target.path.drive});
  }
  std::optional<std::wstring> path = ResolveMapped(target.path);
  if (!path) throw FileMissing(DisplayPath(stored.path, text_), "is no name of a file");
  place.path = *std::move(path);
  return place;
}

std::optional<std::string> NativePaths::ToCodePage(const std::wstring& directory) const {
  std::optional<std::wstring> full = ToFullPath(directory);
  if (!full) return std::nullopt;
  DropTrailingSeparators(*full);
  const std::u16string utf16 = FromWide(std::wstring_view(*full).substr(LONG_PREFIX.size()));
  std::string path = text_.FromUtf16(utf16, text::CODE_PAGE_JAPANESE);
  // A character that code page 932 lacks leads elsewhere, and so does a network path.
  std::optional<std::wstring> back = FindOwn(path + '\\');
  if (!back) return std::nullopt;
  DropTrailingSeparators(*back);
  if (CompareStringOrdinal(back->c_str(), -1, full->c_str(), -1, TRUE) != CSTR_EQUAL) {
    return std::nullopt;
  }
  return path;
}

}  // namespace nimport::platform::windows
