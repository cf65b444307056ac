#include "platform/windows/windows_file_system.h"

#include <exception>
#include <vector>

#include <windows.h>

#include "common/file_error.h"
#include "platform/windows/wide_text.h"
#include "platform/windows/windows_file.h"

namespace nimport::platform::windows {
namespace {

// Japanese texts in Unicode.
constexpr const wchar_t* FILE_VERSION = L"\\StringFileInfo\\041104b0\\FileVersion";

std::wstring_view UpToNul(std::wstring_view text) {
  return text.substr(0, text.find(L'\0'));
}

std::optional<std::wstring> FindFileVersion(const std::wstring& path) {
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

}  // namespace

bool WindowsFileSystem::Exists(std::string_view path) const {
  const std::optional<std::wstring> native = paths_.FindStored(path);
  return native && GetFileAttributesW(native->c_str()) != INVALID_FILE_ATTRIBUTES;
}

std::optional<std::uint64_t> WindowsFileSystem::FindChangeStamp(std::string_view path) const {
  const std::optional<std::wstring> native = paths_.FindStored(path);
  if (!native) return std::nullopt;
  return FindWideChangeStamp(*native);
}

std::unique_ptr<RandomAccessFile> WindowsFileSystem::OpenForReading(std::string_view path) const {
  const std::optional<std::wstring> native = paths_.FindStored(path);
  if (!native) throw FileError(NativeName(path) + ": is not a path that can be opened");
  return OpenWideFile(*native);
}

std::unique_ptr<OutputFile> WindowsFileSystem::OpenForWriting(std::string_view path) {
  const std::optional<std::wstring> native = paths_.FindOwn(path);
  if (!native) throw FileError(NativeName(path) + ": is not a path that can be opened");
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

std::optional<std::string> WindowsFileSystem::MakeTemporaryDirectory() {
  return temporaryDirectories_.Make();
}

void WindowsFileSystem::RemoveTemporaryDirectory(std::string_view path) noexcept {
  temporaryDirectories_.Remove(path);
}

std::optional<std::string> WindowsFileSystem::ReadFileVersion(std::string_view path) const {
  const std::optional<std::wstring> native = paths_.FindStored(path);
  const std::optional<std::wstring> version = native ? FindFileVersion(*native) : std::nullopt;
  if (!version) return std::nullopt;
  return text_.FromUtf16(FromWide(*version), CODE_PAGE_JAPANESE);
}

std::string WindowsFileSystem::NativeName(std::string_view path) const {
  if (const std::optional<std::wstring> native = paths_.FindStored(path)) {
    return DisplayName(*native);
  }
  return text_.FromUtf16(text_.ToUtf16(path, CODE_PAGE_JAPANESE), CODE_PAGE_UTF8);
}

}  // namespace nimport::platform::windows
