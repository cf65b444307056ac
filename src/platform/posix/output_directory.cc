#include "platform/output_directory.h"

#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/interruption.h"
#include "platform/posix/file_descriptor.h"

namespace nimport::platform {

using posix::FileDescriptor;

namespace {

// Some file systems cannot flush; what they lose is seen by the next run.
bool CannotFlush() {
  return errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP;
}

[[noreturn]] void FailPath(const char* what, const std::filesystem::path& path) {
  const int reason = errno;
  throw std::system_error(reason, std::generic_category(), std::string(what) + ' ' + path.string());
}

}  // namespace

const std::filesystem::path& MakeDirectories(const std::filesystem::path& path) {
  const std::filesystem::path parent = path.parent_path();
  if (path.empty() || std::filesystem::is_directory(path)) return path;
  if (parent != path) MakeDirectories(parent);
  // A path may end with a '/', and another process may be faster.
  if (mkdir(path.c_str(), 0700) != 0 && !std::filesystem::is_directory(path)) {
    FailPath("cannot make", path);
  }
  return path;
}

struct OutputDirectory::Handle {
  FileDescriptor descriptor;
};

OutputDirectory::OutputDirectory(std::filesystem::path path)
    : path_(std::move(path)),
      handle_(std::make_unique<Handle>(
          FileDescriptor(open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)))) {
  if (!handle_->descriptor.IsOpen()) FailPath("cannot open", path_);
}

OutputDirectory::~OutputDirectory() = default;

bool OutputDirectory::TryToRemove(const std::string& name) const noexcept {
  return unlinkat(handle_->descriptor.get(), name.c_str(), 0) == 0 || errno == ENOENT;
}

void OutputDirectory::Remove(const std::string& name) const {
  if (!TryToRemove(name)) FailPath("cannot remove", path_ / name);
}

void OutputDirectory::MakeEmptyFile(const std::string& name) const {
  const FileDescriptor file(openat(handle_->descriptor.get(), name.c_str(),
                                   O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (!file.IsOpen() && errno != EEXIST) FailPath("cannot create", path_ / name);
}

void OutputDirectory::Take(const OutputDirectory& directory, const std::string& from,
                           const std::string& to) const {
  if (renameat(directory.handle_->descriptor.get(), from.c_str(), handle_->descriptor.get(),
               to.c_str()) != 0) {
    FailPath("cannot create", path_ / to);
  }
}

void OutputDirectory::FlushNames() const {
  const Interruption::Pause pause;
  if (fsync(handle_->descriptor.get()) != 0 && !CannotFlush()) FailPath("cannot flush", path_);
}

// One flush of all that waits takes as long as that of one file.
void OutputDirectory::FlushFiles(const std::vector<std::string>& /*names*/) const {
  FlushFileSystem();
}

void OutputDirectory::FlushFileSystem() const {
  const Interruption::Pause pause;
  if (syncfs(handle_->descriptor.get()) != 0 && !CannotFlush()) FailPath("cannot flush", path_);
}

struct WritableFile::Handle {
  FileDescriptor descriptor;
};

WritableFile::WritableFile(const OutputDirectory& directory, std::string name)
    : directory_(directory), name_(std::move(name)), handle_(std::make_unique<Handle>()) {
  constexpr int FLAGS = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW;
  const auto create = [&] {
    handle_->descriptor =
        FileDescriptor(openat(directory_.handle_->descriptor.get(), name_.c_str(), FLAGS, 0600));
    return handle_->descriptor.IsOpen();
  };
  if (create()) return;
  if (errno == EEXIST) {
    directory_.Remove(name_);
    if (create()) return;
  }
  Fail("cannot create");
}

WritableFile::~WritableFile() = default;

bool WritableFile::IsOpen() const {
  return handle_->descriptor.IsOpen();
}

void WritableFile::Write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(handle_->descriptor.get(), bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) Fail("cannot write");
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
}

void WritableFile::CutTo(std::uint64_t sizeBytes) {
  const auto end = static_cast<off_t>(sizeBytes);
  const int file = handle_->descriptor.get();
  if (ftruncate(file, end) != 0 || lseek(file, end, SEEK_SET) != end) Fail("cannot write");
}

void WritableFile::SetTime(std::int64_t instant) {
  timespec times[2] = {};
  times[0].tv_nsec = UTIME_OMIT;
  times[1].tv_sec = static_cast<time_t>(instant);
  if (futimens(handle_->descriptor.get(), times) != 0) Fail("cannot date");
}

void WritableFile::Flush() {
  const Interruption::Pause pause;
  if (fdatasync(handle_->descriptor.get()) != 0 && !CannotFlush()) Fail("cannot write");
}

void WritableFile::Close() {
  if (close(handle_->descriptor.Release()) != 0) Fail("cannot write");
}

void WritableFile::Fail(const char* what) const {
  FailPath(what, directory_.path() / name_);
}

struct DirectoryLock::Handle {
  FileDescriptor descriptor;
};

DirectoryLock::DirectoryLock(const std::filesystem::path& path) {
  MakeDirectories(path);
  handle_ = std::make_unique<Handle>(
      FileDescriptor(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)));
  if (!handle_->descriptor.IsOpen()) FailPath("cannot open", path);
  if (flock(handle_->descriptor.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK)
    throw std::runtime_error(path.string() + ": another export is writing there");
}

DirectoryLock::~DirectoryLock() = default;

}  // namespace nimport::platform
