#include "archive/new_file.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/interruption.h"

namespace nimport::archive {

namespace {

constexpr std::size_t BUFFER_BYTES = 1 << 20;

// When a batch is put in place: a flush takes milliseconds however little there is to flush, and
// what waits is written again after the program was killed.
constexpr std::size_t BATCH_FILES = 2000;
constexpr std::size_t BATCH_BYTES = 64 << 20;

// Some file systems cannot flush; what they lose is seen by the next run.
bool CannotFlush() {
  return errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP;
}

[[noreturn]] void Fail(const char* what, const std::filesystem::path& path) {
  const int reason = errno;
  throw std::system_error(reason, std::generic_category(), std::string(what) + ' ' + path.string());
}

}  // namespace

Directory::Directory(std::filesystem::path path) : path_(std::move(path)) {
  descriptor_ = open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor_ < 0) Fail("cannot open", path_);
}

Directory::~Directory() {
  close(descriptor_);
}

void Directory::Remove(const std::string& name) const {
  if (unlinkat(descriptor_, name.c_str(), 0) == 0 || errno == ENOENT) return;
  Fail("cannot remove", path_ / name);
}

void Directory::Take(const Directory& directory, const std::string& from,
                     const std::string& to) const {
  if (renameat(directory.descriptor(), from.c_str(), descriptor_, to.c_str()) != 0) {
    Fail("cannot create", path_ / to);
  }
}

void Directory::FlushNames() const {
  const platform::Interruption::Pause pause;
  if (fsync(descriptor_) != 0 && !CannotFlush()) Fail("cannot flush", path_);
}

void Directory::FlushFileSystem() const {
  const platform::Interruption::Pause pause;
  if (syncfs(descriptor_) != 0 && !CannotFlush()) Fail("cannot flush", path_);
}

NewFile::NewFile(const Directory& directory, std::string temporaryName)
    : directory_(directory), temporaryName_(std::move(temporaryName)) {
  // What has the name already may be a pipe, or a file that somebody else reads: it is never
  // opened.
  constexpr int FLAGS = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW;
  const auto create = [&] {
    descriptor_ = openat(directory_.descriptor(), temporaryName_.c_str(), FLAGS, 0600);
  };
  create();
  if (descriptor_ < 0 && errno == EEXIST) {
    directory_.Remove(temporaryName_);
    create();
  }
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

void NewFile::PutInPlace(const Directory& directory, const std::string& name) {
  WriteAll(buffer_);
  buffer_.clear();
  {
    const platform::Interruption::Pause pause;
    if (fdatasync(descriptor_) != 0 && !CannotFlush()) Fail("cannot write", TemporaryPath());
  }
  directory.Take(directory_, temporaryName_, name);
  close(std::exchange(descriptor_, -1));
  directory.FlushNames();
}

void NewFile::Close(std::optional<std::int64_t> instant) {
  WriteAll(buffer_);
  buffer_.clear();
  if (instant) {
    timespec times[2] = {};
    times[0].tv_nsec = UTIME_OMIT;
    times[1].tv_sec = static_cast<time_t>(*instant);
    if (futimens(descriptor_, times) != 0) Fail("cannot date", TemporaryPath());
  }
  // Some file systems say only here that the disk is full.
  if (close(std::exchange(descriptor_, -1)) == 0) return;
  const int reason = errno;
  unlinkat(directory_.descriptor(), temporaryName_.c_str(), 0);
  errno = reason;
  Fail("cannot write", TemporaryPath());
}

void NewFile::WriteAll(std::string_view bytes) const {
  while (!bytes.empty()) {
    const ssize_t written = write(descriptor_, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) Fail("cannot write", TemporaryPath());
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
}

std::filesystem::path NewFile::TemporaryPath() const {
  return directory_.path() / temporaryName_;
}

FileBatch::~FileBatch() {
  for (const File& file : files_)
    unlinkat(from_.descriptor(), file.temporaryName.c_str(), 0);
}

void FileBatch::Add(const std::string& temporaryName, const std::string& name,
                    std::string_view bytes, std::optional<std::int64_t> instant,
                    std::vector<std::filesystem::path> replaced) {
  NewFile file(from_, temporaryName);
  file.Write(bytes);
  file.Close(instant);
  std::erase(replaced, to_.path() / name);
  files_.push_back({temporaryName, name, std::move(replaced)});
  bytes_ += bytes.size();
  if (files_.size() >= BATCH_FILES || bytes_ >= BATCH_BYTES) PutInPlace();
}

void FileBatch::PutInPlace() {
  if (files_.empty()) return;
  from_.FlushFileSystem();
  std::vector<std::filesystem::path> replaced;
  for (; !files_.empty(); files_.pop_front()) {
    File& file = files_.front();
    to_.Take(from_, file.temporaryName, file.name);
    std::ranges::move(file.replaced, std::back_inserter(replaced));
  }
  bytes_ = 0;
  if (replaced.empty()) return;
  to_.FlushNames();
  for (const std::filesystem::path& path : replaced)
    std::filesystem::remove(path);
}

}  // namespace nimport::archive
