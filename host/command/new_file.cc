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

}  // namespace

Directory::Directory(std::filesystem::path path) : path_(std::move(path)) {
  descriptor_ = open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor_ < 0) {
    throw std::system_error(errno, std::generic_category(), "cannot open " + path_.string());
  }
}

Directory::~Directory() {
  close(descriptor_);
}

void Directory::Remove(const std::string& name) const {
  if (unlinkat(descriptor_, name.c_str(), 0) == 0 || errno == ENOENT) return;
  throw std::system_error(errno, std::generic_category(),
                          "cannot remove " + (path_ / name).string());
}

NewFile::NewFile(const Directory& directory, std::string temporaryName)
    : directory_(directory), temporaryName_(std::move(temporaryName)) {
  constexpr int FLAGS = O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW;
  descriptor_ = openat(directory_.descriptor(), temporaryName_.c_str(), FLAGS, 0600);
  if (descriptor_ < 0) Fail("cannot create", TemporaryPath());
}

NewFile::~NewFile() {
  if (descriptor_ < 0) return;
  close(descriptor_);
  unlinkat(directory_.descriptor(), temporaryName_.c_str(), 0);
}

void NewFile::Write(std::string_view bytes) {
  if (buffer_.size() + bytes.size() < BUFFER_BYTES) {
    buffer_.append(bytes);
    return;
  }
  WriteAll(buffer_);
  buffer_.clear();
  WriteAll(bytes);
}

void NewFile::PutInPlace(const Directory& directory, const std::string& name,
                         std::optional<std::int64_t> instant) {
  WriteAll(buffer_);
  buffer_.clear();
  if (instant) {
    timespec times[2] = {};
    times[0].tv_nsec = UTIME_OMIT;
    times[1].tv_sec = static_cast<time_t>(*instant);
    if (futimens(descriptor_, times) != 0) Fail("cannot date", TemporaryPath());
  }
  // Some file systems say only here that the disk is full.
  const bool isClosed = close(std::exchange(descriptor_, -1)) == 0;
  if (isClosed && renameat(directory_.descriptor(), temporaryName_.c_str(), directory.descriptor(),
                           name.c_str()) == 0) {
    return;
  }
  const int reason = errno;
  unlinkat(directory_.descriptor(), temporaryName_.c_str(), 0);
  errno = reason;
  Fail("cannot create", directory.path() / name);
}

void NewFile::WriteAll(std::string_view bytes) const {
  while (!bytes.empty()) {
    const ssize_t written = write(descriptor_, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) Fail("cannot write", TemporaryPath());
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
}

void NewFile::Fail(const char* what, const std::filesystem::path& path) const {
  const int reason = errno;
  throw std::system_error(reason, std::generic_category(), std::string(what) + ' ' + path.string());
}

std::filesystem::path NewFile::TemporaryPath() const {
  return directory_.path() / temporaryName_;
}

}  // namespace nimport::command
