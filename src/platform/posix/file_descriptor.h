#ifndef NIMPORT_PLATFORM_POSIX_FILE_DESCRIPTOR_H_
#define NIMPORT_PLATFORM_POSIX_FILE_DESCRIPTOR_H_

#include <string>
#include <utility>

#include <unistd.h>

namespace nimport::platform::posix {

// Owns an open file. -1 is none.
class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int fd) : fd_(fd) {}
  FileDescriptor(FileDescriptor&& other) noexcept : fd_(other.Release()) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  ~FileDescriptor() {
    if (fd_ >= 0) close(fd_);
  }

  [[nodiscard]] int get() const { return fd_; }
  [[nodiscard]] bool IsOpen() const { return fd_ >= 0; }
  // Gives the descriptor to the caller.
  [[nodiscard]] int Release() { return std::exchange(fd_, -1); }

 private:
  int fd_ = -1;
};

// Throws FileError: "NAME: ACTION: " and the text of `errorNumber`.
[[noreturn]] void FailFile(const std::string& name, const std::string& action, int errorNumber);

// Holds a signal back from this thread, and forgets one that came meanwhile: a write that hits a
// limit or a closed pipe then fails with an error instead of ending the process.
class SignalGuard {
 public:
  explicit SignalGuard(int signalNumber);
  ~SignalGuard();
  SignalGuard(const SignalGuard&) = delete;
  SignalGuard& operator=(const SignalGuard&) = delete;

 private:
  int signalNumber_;
  bool isOurs_;  // neither blocked nor pending before
};

}  // namespace nimport::platform::posix

#endif  // NIMPORT_PLATFORM_POSIX_FILE_DESCRIPTOR_H_
