#include "platform/windows/windows_file_system.h"

#include <exception>
#include <memory>
#include <vector>

#include <windows.h>

#include "common/file_error.h"
#include "platform/formats/pe_version_resource.h"
#include "platform/windows/file_handle.h"
#include "platform/windows/wide_text.h"
#include "platform/windows/windows_file.h"

namespace nimport::platform::windows {
namespace {

// Japanese texts in Unicode.
constexpr const wchar_t* FILE_VERSION = L"\\StringFileInfo\\041104b0\\FileVersion";

std::wstring_view UpToNul(std::wstring_view text) {
  return text.substr(0, text.find(L'\0'));
}

std::optional<std::wstring> AskSystemForVersion(const std::wstring& path) {
  DWORD unused = 0;
  const DWORD size = GetFileVersionInfoSizeW(path.c_str(), &unused);
  if (size == 0) return std::nullopt;
  std::vector<std::byte> block(size);
  if (GetFileVersionInfoW(path.c_str(), 0, size, block.data()) == FALSE) return std::nullopt;
  void* value = nullptr;
  UINT length = 0;
  if (VerQueryValueW(block.data(), FILE_VERSION, &value, &length) == FALSE) return std::nullopt;
  if (value == nullptr) return std::wstring();
  return std::wstring(UpToNul({static_cast<const wchar_t*>(value), length}));
}

// Throws FileMissing, with the system's reason where that is more than the file's absence.
void RequireThere(const std::wstring& path) {
  if (GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES) return;
  const DWORD error = GetLastError();
  const bool isAbsent = error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
  throw FileMissing(DisplayName(path), isAbsent ? "" : MessageOf(error),
                    isAbsent ? FileMissing::Certainty::Missing : FileMissing::Certainty::Hidden);
}

}  // namespace

void WindowsFileSystem::RequireExists(std::string_view path) const {
  const std::optional<std::wstring> native = paths_.FindMapped(path);
  if (!native) throw FileMissing(NativeName(path), "is not a path that can be opened");
  RequireThere(*native);
}

std::optional<std::uint64_t> WindowsFileSystem::FindChangeStamp(std::string_view path) const {
  const std::optional<std::wstring> native = paths_.FindMapped(path);
  if (!native) return std::nullopt;
  return FindWideChangeStamp(*native);
}

std::unique_ptr<RandomAccessFile> WindowsFileSystem::OpenForReading(std::string_view path) const {
  const std::optional<std::wstring> native = paths_.FindMapped(path);
  if (!native) throw FileError(NativeName(path) + ": is not a path that can be opened");
  return OpenWideFile(*native);
}

std::optional<std::uint64_t> WindowsFileSystem::FindStoredChangeStamp(
    const StoredPath& path) const {
  const StoredPlace place = paths_.FindStored(path);
  RequireThere(place.path);
  return FindWideChangeStamp(place.path, place.roots);
}

std::unique_ptr<RandomAccessFile> WindowsFileSystem::OpenStored(const StoredPath& path) const {
  const StoredPlace place = paths_.FindStored(path);
  RequireThere(place.path);
  return OpenWideFile(place.path, place.roots);
}

std::vector<std::string> WindowsFileSystem::ListStored(const StoredPath& path,
                                                       const StoredVisitor& visit) const {
  const StoredPlace place = paths_.FindStored(path);
  RequireThere(place.path);
  std::wstring pattern = place.path;
  if (!pattern.ends_with(L'\\')) pattern += L'\\';
  WIN32_FIND_DATAW entry{};
  const HANDLE found = FindFirstFileW((pattern + L'*').c_str(), &entry);
  if (found == INVALID_HANDLE_VALUE) {
    throw FileError(DisplayName(place.path) + ": cannot be read: " + MessageOf(GetLastError()));
  }
  const std::unique_ptr<void, BOOL (*)(HANDLE)> search(
      found, [](HANDLE handle) { return FindClose(handle); });
  std::vector<std::string> nameless;
  do {
    const std::wstring_view name = entry.cFileName;
    if (name == L"." || name == L"..") continue;
    const std::u16string utf16 = FromWide(name);
    const std::string stored = text_.FromUtf16(utf16, text::CODE_PAGE_JAPANESE);
    if (text_.ToUtf16(stored, text::CODE_PAGE_JAPANESE) != utf16) {
      nameless.push_back(Utf8FromWide(name));
    } else {
      visit(stored, (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0);
    }
  } while (FindNextFileW(found, &entry) != FALSE);
  return nameless;
}

std::unique_ptr<OutputFile> WindowsFileSystem::OpenForWriting(std::string_view path) {
  const std::optional<std::wstring> native = paths_.FindOwn(path);
  if (!native) throw FileError(NativeName(path) + ": is not a path that can be opened");
  temporaryDirectories_.List(path, Utf8FromWide(native->substr(native->rfind(L'\\') + 1)));
  return CreateWideFile(*native);
}

void WindowsFileSystem::Remove(std::string_view path) noexcept {
  try {
    if (const std::optional<std::wstring> native = paths_.FindOwn(path)) {
      DeleteFileW(native->c_str());
    }
  } catch (const std::exception&) {
    // Out of memory: the file stays.
  }
}

std::string WindowsFileSystem::ToWindowsPath(const std::string& native) const {
  if (std::optional<std::string> path = paths_.ToCodePage(WideFromUtf8(native))) {
    return *std::move(path);
  }
  throw FileError(native + ": has no name in code page 932");
}

std::string WindowsFileSystem::MakeTemporaryDirectory() {
  return temporaryDirectories_.Make();
}

void WindowsFileSystem::RemoveTemporaryDirectory(std::string_view path) noexcept {
  temporaryDirectories_.Remove(path);
}

std::optional<std::string> WindowsFileSystem::ReadFileVersion(std::string_view path) const {
  const std::optional<std::wstring> native = paths_.FindMapped(path);
  if (!native) return std::nullopt;
  if (const std::optional<std::wstring> version = AskSystemForVersion(*native)) {
    return text_.FromUtf16(FromWide(*version), text::CODE_PAGE_JAPANESE);
  }
  // Of resources in several languages the system sees the one of this machine's language alone.
  try {
    const std::optional<std::u16string> version = FindFileVersion(*OpenWideFile(*native));
    if (!version) return std::nullopt;
    return text_.FromUtf16(*version, text::CODE_PAGE_JAPANESE);
  } catch (const FileError&) {
    return std::nullopt;
  }
}

std::string WindowsFileSystem::NativeName(std::string_view path) const {
  if (const std::optional<std::wstring> native = paths_.FindMapped(path)) {
    return DisplayName(*native);
  }
  return DisplayPath(path, text_);
}

}  // namespace nimport::platform::windows
