#ifndef NIMPORT_PLATFORM_WINDOWS_FILE_HANDLE_H_
#define NIMPORT_PLATFORM_WINDOWS_FILE_HANDLE_H_

#include <string>
#include <utility>

#include <windows.h>

namespace nimport::platform::windows {

// Owns an open file.
class FileHandle {
 public:
  FileHandle() = default;
  explicit FileHandle(HANDLE handle) : handle_(handle) {}
  FileHandle(FileHandle&& other) noexcept : handle_(other.Release()) {}
  FileHandle& operator=(FileHandle&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
  }
  ~FileHandle() {
    if (IsOpen()) CloseHandle(handle_);
  }

  [[nodiscard]] HANDLE get() const { return handle_; }
  [[nodiscard]] bool IsOpen() const { return handle_ != INVALID_HANDLE_VALUE; }
  // Gives the handle to the caller.
  [[nodiscard]] HANDLE Release() { return std::exchange(handle_, INVALID_HANDLE_VALUE); }

 private:
  HANDLE handle_ = INVALID_HANDLE_VALUE;
};

// The system's text for an error, UTF-8, with its number.
[[nodiscard]] std::string MessageOf(DWORD errorNumber);

// Throws FileError: "NAME: ACTION: " and the system's text for `errorNumber`, UTF-8.
[[noreturn]] void FailFile(const std::string& name, const std::string& action, DWORD errorNumber);

}  // namespace nimport::platform::windows

#endif  // NIMPORT_PLATFORM_WINDOWS_FILE_HANDLE_H_
