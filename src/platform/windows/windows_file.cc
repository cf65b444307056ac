#include "platform/windows/windows_file.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "common/file_error.h"
#include "platform/change_stamp.h"
#include "platform/native_file.h"
#include "platform/windows/file_handle.h"
#include "platform/windows/native_paths.h"
#include "platform/windows/wide_text.h"

namespace nimport::platform::windows {
namespace {

constexpr DWORD SHARE_ALL = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
constexpr std::int64_t NANOSECONDS_PER_TICK = 100;

// What one call of the system reads or writes.
constexpr std::size_t MAX_PIECE_BYTES = std::size_t{1} << 30;

std::uint64_t Join(DWORD high, DWORD low) {
  return std::uint64_t{high} << 32 | low;
}

std::int64_t Nanoseconds(std::uint64_t ticks) {
  return static_cast<std::int64_t>(ticks) * NANOSECONDS_PER_TICK;
}

BY_HANDLE_FILE_INFORMATION Examine(const FileHandle& file, const std::string& name) {
  BY_HANDLE_FILE_INFORMATION info{};
  if (GetFileInformationByHandle(file.get(), &info) == FALSE) {
    FailFile(name, "cannot be examined", GetLastError());
  }
  return info;
}

std::uint64_t SizeOf(const BY_HANDLE_FILE_INFORMATION& info) {
  return Join(info.nFileSizeHigh, info.nFileSizeLow);
}

// Differs from that of an earlier state of the same file.
ChangeStamp StampOf(const BY_HANDLE_FILE_INFORMATION& info) {
  FILETIME now{};
  GetSystemTimeAsFileTime(&now);
  ChangeStamp stamp;
  stamp.Add(Join(info.nFileIndexHigh, info.nFileIndexLow));
  stamp.Add(SizeOf(info));
  stamp.AddLastWrite(
      Nanoseconds(Join(info.ftLastWriteTime.dwHighDateTime, info.ftLastWriteTime.dwLowDateTime)),
      Nanoseconds(Join(now.dwHighDateTime, now.dwLowDateTime)));
  return stamp;
}

// Whether this is neither a directory, a pipe nor a device.
bool IsRegular(const FileHandle& file, DWORD attributes) {
  return GetFileType(file.get()) == FILE_TYPE_DISK && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

// The full path of an open file or directory, all links followed; empty when the system cannot
// tell.
std::wstring FinalPath(const FileHandle& file) {
  if (!file.IsOpen()) return {};
  std::wstring path(GetFinalPathNameByHandleW(file.get(), nullptr, 0, FILE_NAME_NORMALIZED), L'\0');
  const DWORD length = GetFinalPathNameByHandleW(
      file.get(), path.data(), static_cast<DWORD>(path.size()), FILE_NAME_NORMALIZED);
  if (length >= path.size()) return {};
  path.resize(length);
  return path;
}

// A directory's, with its separator after it.
std::wstring FinalDirectory(const std::wstring& directory) {
  const FileHandle handle(CreateFileW(directory.c_str(), FILE_READ_ATTRIBUTES, SHARE_ALL, nullptr,
                                      OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
  std::wstring path = FinalPath(handle);
  if (!path.empty() && !path.ends_with(L'\\')) path += L'\\';
  return path;
}

// Throws FileMissing unless there are no `roots` or the file lies in one of them.
void RequireBeneath(const FileHandle& file, const std::string& name,
                    const std::vector<std::wstring>& roots) {
  if (roots.empty()) return;
  const std::wstring path = FinalPath(file);
  const bool isBeneath = std::ranges::any_of(roots, [&](const std::wstring& root) {
    const std::wstring start = FinalDirectory(root);
    const auto length = static_cast<int>(start.size());
    return length > 0 && path.size() > start.size() &&
           CompareStringOrdinal(path.c_str(), length, start.c_str(), length, TRUE) == CSTR_EQUAL;
  });
  if (!isBeneath) throw FileMissing(name, "a link leads out of the drives of the store");
}

class WindowsFile final : public RandomAccessFile {
 public:
  WindowsFile(std::string name, FileHandle file) : name_(std::move(name)), file_(std::move(file)) {}

  [[nodiscard]] const std::string& Name() const override { return name_; }
  [[nodiscard]] std::uint64_t Size() const override { return SizeOf(Examine(file_, name_)); }
  [[nodiscard]] std::uint64_t ChangeStamp() const override {
    return StampOf(Examine(file_, name_)).value();
  }

  std::size_t ReadAt(std::uint64_t offset, std::span<std::byte> buffer) const override {
    std::size_t done = 0;
    while (done < buffer.size()) {
      const std::uint64_t position = offset + done;
      if (position > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) break;
      OVERLAPPED place{};
      place.Offset = static_cast<DWORD>(position);
      place.OffsetHigh = static_cast<DWORD>(position >> 32);
      const auto wanted = static_cast<DWORD>(std::min(buffer.size() - done, MAX_PIECE_BYTES));
      DWORD count = 0;
      if (ReadFile(file_.get(), buffer.data() + done, wanted, &count, &place) == FALSE) {
        const DWORD error = GetLastError();
        if (error == ERROR_HANDLE_EOF) break;
        FailFile(name_, "cannot be read", error);
      }
      if (count == 0) break;
      done += count;
    }
    return done;
  }

 private:
  std::string name_;
  FileHandle file_;
};

class WindowsOutputFile final : public OutputFile {
 public:
  WindowsOutputFile(std::string name, FileHandle file)
      : name_(std::move(name)), file_(std::move(file)) {}

  void Write(std::span<const std::byte> bytes) override {
    while (!bytes.empty()) {
      const auto wanted = static_cast<DWORD>(std::min(bytes.size(), MAX_PIECE_BYTES));
      DWORD count = 0;
      if (WriteFile(file_.get(), bytes.data(), wanted, &count, nullptr) == FALSE || count == 0) {
        FailFile(name_, "cannot be written", GetLastError());
      }
      bytes = bytes.subspan(count);
    }
  }

  void Close() override {
    if (CloseHandle(file_.Release()) == FALSE) FailFile(name_, "cannot be closed", GetLastError());
  }

 private:
  std::string name_;
  FileHandle file_;
};

}  // namespace

std::unique_ptr<RandomAccessFile> OpenWideFile(const std::wstring& path,
                                               const std::vector<std::wstring>& roots) {
  const std::string name = DisplayName(path);
  FileHandle file(CreateFileW(path.c_str(), GENERIC_READ, SHARE_ALL, nullptr, OPEN_EXISTING,
                              FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file.IsOpen()) FailFile(name, "cannot be opened", GetLastError());
  RequireBeneath(file, name, roots);
  if (!IsRegular(file, Examine(file, name).dwFileAttributes)) {
    throw FileError(name + ": is not a regular file");
  }
  return std::make_unique<WindowsFile>(name, std::move(file));
}

std::optional<std::uint64_t> FindWideChangeStamp(const std::wstring& path,
                                                 const std::vector<std::wstring>& roots) {
  const FileHandle file(CreateFileW(path.c_str(), FILE_READ_ATTRIBUTES, SHARE_ALL, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (file.IsOpen()) RequireBeneath(file, DisplayName(path), roots);
  BY_HANDLE_FILE_INFORMATION info{};
  if (!file.IsOpen() || GetFileInformationByHandle(file.get(), &info) == FALSE ||
      !IsRegular(file, info.dwFileAttributes)) {
    return std::nullopt;
  }
  // A name stands now for this file and now for that one. The time of the last change of anything
  // shows time stamps that were set back; not every file system has it.
  ChangeStamp stamp = StampOf(info);
  stamp.Add(info.dwVolumeSerialNumber);
  FILE_BASIC_INFO basic{};
  if (GetFileInformationByHandleEx(file.get(), FileBasicInfo, &basic, sizeof basic) != FALSE) {
    stamp.Add(static_cast<std::uint64_t>(basic.ChangeTime.QuadPart));
  }
  return stamp.value();
}

std::unique_ptr<OutputFile> CreateWideFile(const std::wstring& path) {
  const std::string name = DisplayName(path);
  // A link that stands there is opened itself, and then refused. A host that still has the file of
  // an earlier answer open for reading is no obstacle.
  FileHandle file(CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                              nullptr, OPEN_ALWAYS,
                              FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
  if (!file.IsOpen()) FailFile(name, "cannot be created", GetLastError());
  const BY_HANDLE_FILE_INFORMATION info = Examine(file, name);
  const bool isLink = (info.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
  if (isLink || !IsRegular(file, info.dwFileAttributes)) {
    throw FileError(name + ": is not a regular file");
  }
  if (SizeOf(info) > 0 && SetEndOfFile(file.get()) == FALSE) {
    FailFile(name, "cannot be emptied", GetLastError());
  }
  return std::make_unique<WindowsOutputFile>(name, std::move(file));
}

std::string DisplayName(const std::wstring& path) {
  const std::wstring_view view = path;
  if (view.starts_with(UNC_PREFIX)) {
    return "\\\\" + Utf8FromWide(view.substr(UNC_PREFIX.size()));
  }
  if (view.starts_with(LONG_PREFIX)) return Utf8FromWide(view.substr(LONG_PREFIX.size()));
  return Utf8FromWide(view);
}

}  // namespace nimport::platform::windows

namespace nimport::platform {

std::unique_ptr<RandomAccessFile> OpenNativeFile(const std::string& path) {
  const std::optional<std::wstring> full = windows::ToFullPath(windows::WideFromUtf8(path));
  if (!full) throw FileError(path + ": is not a path that can be opened");
  return windows::OpenWideFile(*full);
}

std::unique_ptr<OutputFile> CreateNewNativeFile(const std::string& path) {
  const std::optional<std::wstring> full = windows::ToFullPath(windows::WideFromUtf8(path));
  if (!full) throw FileError(path + ": is not a path that can be made");
  windows::FileHandle file(CreateFileW(full->c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                       CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
  const DWORD error = GetLastError();
  if (!file.IsOpen() && error == ERROR_FILE_EXISTS) return nullptr;
  if (!file.IsOpen()) windows::FailFile(path, "cannot be created", error);
  return std::make_unique<windows::WindowsOutputFile>(path, std::move(file));
}

bool IsOfSystem(const std::string& /*directory*/) {
  return false;
}

}  // namespace nimport::platform
