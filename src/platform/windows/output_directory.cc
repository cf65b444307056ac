#include "platform/output_directory.h"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <windows.h>

#include "platform/interruption.h"
#include "platform/windows/file_handle.h"
#include "platform/windows/native_paths.h"
#include "platform/windows/wide_text.h"

namespace nimport::platform {

using windows::FileHandle;

namespace {

[[noreturn]] void FailPath(const char* what, const std::filesystem::path& path) {
  const auto reason = static_cast<int>(GetLastError());
  throw std::system_error(reason, std::system_category(), std::string(what) + ' ' + path.string());
}

std::wstring FullPath(const std::filesystem::path& path) {
  std::optional<std::wstring> full = windows::ToFullPath(path.wstring());
  if (!full) FailPath("cannot open", path);
  return *std::move(full);
}

bool IsDirectory(const std::wstring& fullPath) {
  const DWORD attributes = GetFileAttributesW(fullPath.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool IsAbsence(DWORD error) {
  return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

FileHandle CreateNew(const std::wstring& fullPath) {
  return FileHandle(CreateFileW(fullPath.c_str(), GENERIC_WRITE,
                                FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr, CREATE_NEW,
                                FILE_ATTRIBUTE_NORMAL, nullptr));
}

}  // namespace

const std::filesystem::path& MakeDirectories(const std::filesystem::path& path) {
  if (path.empty()) return path;
  const std::wstring full = FullPath(path);
  if (IsDirectory(full)) return path;
  const std::filesystem::path parent = path.parent_path();
  if (parent != path) MakeDirectories(parent);
  // Another process may be faster.
  if (CreateDirectoryW(full.c_str(), nullptr) == FALSE) {
    const DWORD error = GetLastError();
    if (IsDirectory(full)) return path;
    SetLastError(error);
    FailPath("cannot make", path);
  }
  return path;
}

// The directory is not held open: that would keep others from renaming it, for nothing.
struct OutputDirectory::Handle {
  std::wstring begin;  // full, with a separator at its end

  [[nodiscard]] std::wstring PathOf(const std::string& name) const {
    return begin + windows::WideFromUtf8(name);
  }
};

OutputDirectory::OutputDirectory(std::filesystem::path path)
    : path_(std::move(path)), handle_(std::make_unique<Handle>(FullPath(path_))) {
  if (!IsDirectory(handle_->begin)) {
    SetLastError(ERROR_PATH_NOT_FOUND);
    FailPath("cannot open", path_);
  }
  if (!handle_->begin.ends_with(L'\\')) handle_->begin += L'\\';
}

OutputDirectory::~OutputDirectory() = default;

bool OutputDirectory::TryToRemove(const std::string& name) const noexcept {
  return DeleteFileW(handle_->PathOf(name).c_str()) != FALSE || IsAbsence(GetLastError());
}

void OutputDirectory::Remove(const std::string& name) const {
  if (!TryToRemove(name)) FailPath("cannot remove", path_ / name);
}

void OutputDirectory::MakeEmptyFile(const std::string& name) const {
  const FileHandle file = CreateNew(handle_->PathOf(name));
  if (!file.IsOpen() && GetLastError() != ERROR_FILE_EXISTS)
    FailPath("cannot create", path_ / name);
}

void OutputDirectory::Take(const OutputDirectory& directory, const std::string& from,
                           const std::string& to) const {
  if (MoveFileExW(directory.handle_->PathOf(from).c_str(), handle_->PathOf(to).c_str(),
                  MOVEFILE_REPLACE_EXISTING) == FALSE) {
    FailPath("cannot create", path_ / to);
  }
}

// The file system's journal keeps names in the order in which they were made.
void OutputDirectory::FlushNames() const {}

void OutputDirectory::FlushFiles(const std::vector<std::string>& names) const {
  const Interruption::Pause pause;
  for (const std::string& name : names) {
    const FileHandle file(CreateFileW(handle_->PathOf(name).c_str(), GENERIC_WRITE,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file.IsOpen() || FlushFileBuffers(file.get()) == FALSE)
      FailPath("cannot flush", path_ / name);
  }
}

// Only administrators may ask.
void OutputDirectory::FlushFileSystem() const {}

struct WritableFile::Handle {
  FileHandle file;
};

WritableFile::WritableFile(const OutputDirectory& directory, std::string name)
    : directory_(directory), name_(std::move(name)), handle_(std::make_unique<Handle>()) {
  const std::wstring path = directory_.handle_->PathOf(name_);
  handle_->file = CreateNew(path);
  if (!handle_->file.IsOpen() && GetLastError() == ERROR_FILE_EXISTS) {
    directory_.Remove(name_);
    handle_->file = CreateNew(path);
  }
  if (!handle_->file.IsOpen()) Fail("cannot create");
}

WritableFile::~WritableFile() = default;

bool WritableFile::IsOpen() const {
  return handle_->file.IsOpen();
}

void WritableFile::Write(std::string_view bytes) {
  constexpr std::size_t MAX_PIECE_BYTES = std::size_t{1} << 30;
  while (!bytes.empty()) {
    const auto wanted = static_cast<DWORD>(std::min(bytes.size(), MAX_PIECE_BYTES));
    DWORD written = 0;
    if (WriteFile(handle_->file.get(), bytes.data(), wanted, &written, nullptr) == FALSE)
      Fail("cannot write");
    bytes.remove_prefix(written);
  }
}

void WritableFile::CutTo(std::uint64_t sizeBytes) {
  LARGE_INTEGER end{};
  end.QuadPart = static_cast<LONGLONG>(sizeBytes);
  if (SetFilePointerEx(handle_->file.get(), end, nullptr, FILE_BEGIN) == FALSE ||
      SetEndOfFile(handle_->file.get()) == FALSE) {
    Fail("cannot write");
  }
}

void WritableFile::SetTime(std::int64_t instant) {
  // In tenths of a microsecond since 1601, before which there are no file times.
  constexpr std::int64_t SECONDS_FROM_1601_TO_1970 = 11'644'473'600;
  constexpr std::int64_t TICKS_PER_SECOND = 10'000'000;
  constexpr std::int64_t LAST_SECOND =
      std::numeric_limits<std::int64_t>::max() / TICKS_PER_SECOND - SECONDS_FROM_1601_TO_1970;
  const std::int64_t seconds =
      std::clamp(instant, 1 - SECONDS_FROM_1601_TO_1970, LAST_SECOND) + SECONDS_FROM_1601_TO_1970;
  const std::uint64_t ticks = static_cast<std::uint64_t>(seconds * TICKS_PER_SECOND);
  const FILETIME time = {.dwLowDateTime = static_cast<DWORD>(ticks),
                         .dwHighDateTime = static_cast<DWORD>(ticks >> 32)};
  if (SetFileTime(handle_->file.get(), nullptr, nullptr, &time) == FALSE) Fail("cannot date");
}

void WritableFile::Flush() {
  const Interruption::Pause pause;
  if (FlushFileBuffers(handle_->file.get()) == FALSE) Fail("cannot write");
}

void WritableFile::Close() {
  if (CloseHandle(handle_->file.Release()) == FALSE) Fail("cannot write");
}

void WritableFile::Fail(const char* what) const {
  FailPath(what, directory_.path() / name_);
}

struct DirectoryLock::Handle {
  FileHandle file;
};

DirectoryLock::DirectoryLock(const std::filesystem::path& path) {
  MakeDirectories(path);
  // A file that goes away with the last handle, whatever becomes of the process.
  const std::wstring name = FullPath(path) + L"\\.nimport-lock";
  handle_ = std::make_unique<Handle>(
      FileHandle(CreateFileW(name.c_str(), GENERIC_WRITE | DELETE, 0, nullptr, OPEN_ALWAYS,
                             FILE_ATTRIBUTE_HIDDEN | FILE_FLAG_DELETE_ON_CLOSE, nullptr)));
  if (handle_->file.IsOpen()) return;
  if (GetLastError() == ERROR_SHARING_VIOLATION || GetLastError() == ERROR_ACCESS_DENIED)
    throw std::runtime_error(path.string() + ": another export is writing there");
  FailPath("cannot lock", path);
}

DirectoryLock::~DirectoryLock() = default;

}  // namespace nimport::platform
