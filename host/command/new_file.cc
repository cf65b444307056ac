#include "host/command/new_file.h"

#include <cerrno>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace nimport::command {

namespace {

constexpr std::size_t BUFFER_BYTES = 1 << 20;

[[noreturn]] void Fail(const char* what, const std::filesystem::path& path) {
  throw std::system_error(errno, std::generic_category(), std::string(what) + ' ' + path.string());
}

}  // namespace

NewFile::NewFile(const std::filesystem::path& temporaryName) : temporaryName_(temporaryName) {
  constexpr int FLAGS = O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW;
  descriptor_ = open(temporaryName_.c_str(), FLAGS, 0600);
  if (descriptor_ < 0) Fail("cannot create", temporaryName_);
}

NewFile::~NewFile() {
  if (descriptor_ < 0) return;
  close(descriptor_);
  unlink(temporaryName_.c_str());
}

void NewFile::Write(std::string_view bytes) {
  buffer_.append(bytes);
  if (buffer_.size() >= BUFFER_BYTES) Flush();
}

void NewFile::PutInPlace(const std::filesystem::path& name, std::optional<std::int64_t> instant) {
  Flush();
  if (instant) {
    timespec times[2] = {};
    times[0].tv_nsec = UTIME_OMIT;
    times[1].tv_sec = static_cast<time_t>(*instant);
    if (futimens(descriptor_, times) != 0) Fail("cannot date", temporaryName_);
  }
  // Some file systems say only here that the disk is full.
  const bool isClosed = close(std::exchange(descriptor_, -1)) == 0;
  if (isClosed && rename(temporaryName_.c_str(), name.c_str()) == 0) return;
  const int reason = errno;
  unlink(temporaryName_.c_str());
  errno = reason;
  Fail("cannot create", name);
}

void NewFile::Flush() {
  std::string_view rest = buffer_;
  while (!rest.empty()) {
    const ssize_t written = write(descriptor_, rest.data(), rest.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) Fail("cannot write", temporaryName_);
    rest.remove_prefix(static_cast<std::size_t>(written));
  }
  buffer_.clear();
}

}  // namespace nimport::command
