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

// What is flushed at once: a flush takes milliseconds however little there is to flush, and what
// waits is written again after the program was killed.
constexpr std::size_t BATCH_FILES = 1000;
constexpr std::size_t BATCH_BYTES = 64 << 20;

// What may wait to be written.
constexpr std::size_t MAX_QUEUED_FILES = 256;
constexpr std::size_t MAX_QUEUED_BYTES = 4 << 20;
// The thread is woken for so many: to go to sleep and wake up takes as long as to write some files.
constexpr std::size_t MIN_TAKEN_FILES = 32;

// Some file systems cannot flush; what they lose is seen by the next run.
bool CannotFlush() {
  return errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP;
}

[[noreturn]] void Fail(const char* what, const std::filesystem::path& path) {
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
    Fail("cannot make", path);
  }
  return path;
}

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

void Directory::MakeEmptyFile(const std::string& name) const {
  const int file = openat(descriptor_, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (file < 0 && errno != EEXIST) Fail("cannot create", path_ / name);
  if (file >= 0) close(file);
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
  size_ += bytes.size();
  if (buffer_.size() + bytes.size() < BUFFER_BYTES) {
    buffer_.append(bytes);
    return;
  }
  WriteAll(buffer_);
  buffer_.clear();
  WriteAll(bytes);
}

void NewFile::CutTo(std::uint64_t size) {
  WriteAll(buffer_);
  buffer_.clear();
  const auto end = static_cast<off_t>(size);
  if (ftruncate(descriptor_, end) != 0 || lseek(descriptor_, end, SEEK_SET) != end) {
    Fail("cannot write", TemporaryPath());
  }
  size_ = size;
}

void NewFile::PutInPlace(const Directory& directory, const std::string& name, Flush flush) {
  WriteAll(buffer_);
  buffer_.clear();
  if (flush == Flush::Yes) {
    const platform::Interruption::Pause pause;
    if (fdatasync(descriptor_) != 0 && !CannotFlush()) Fail("cannot write", TemporaryPath());
  }
  directory.Take(directory_, temporaryName_, name);
  close(std::exchange(descriptor_, -1));
  if (flush == Flush::Yes) directory.FlushNames();
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
  {
    const std::lock_guard lock(mutex_);
    isEnding_ = true;
  }
  changed_.notify_all();
  if (thread_.joinable()) thread_.join();
  if (flush_.valid()) flush_.wait();
  for (const std::deque<File>* files : {&flushing_, &files_})
    for (const File& file : *files)
      unlinkat(from_.descriptor(), file.temporaryName.c_str(), 0);
}

void FileBatch::Add(const std::string& temporaryName, const std::string& name, std::string bytes,
                    std::optional<std::int64_t> instant,
                    std::vector<std::filesystem::path> replaced) {
  std::erase(replaced, to_.path() / name);
  File file{temporaryName, name, std::move(replaced)};
  const std::size_t size = bytes.size();
  if (size > MAX_QUEUED_BYTES / 4) {
    // The next mail, which may be as long, would be in memory beside it.
    WaitUntilIdle();
    WriteTemporary(file, bytes, instant);
    ++waiting_;
    Keep(std::move(file), size);
    return;
  }
  if (!thread_.joinable()) thread_ = std::thread([this] { Work(); });
  Job job{std::move(file), std::move(bytes), instant};
  if (IsFull(size)) WaitUntilIdle();
  ++waiting_;
  const std::lock_guard lock(mutex_);
  jobBytes_ += size;
  jobs_.push_back(std::move(job));
  if (jobs_.size() == MIN_TAKEN_FILES) changed_.notify_all();
}

void FileBatch::PutInPlace() {
  WaitUntilIdle();
  FinishFlush();
  if (hasFlushFailed_) return;
  flushing_ = std::exchange(files_, {});
  fileBytes_ = 0;
  FinishFlush();
}

void FileBatch::Work() {
  std::unique_lock lock(mutex_);
  while (true) {
    const std::size_t wanted = jobs_.empty() ? MIN_TAKEN_FILES : 1;
    changed_.wait(lock, [&] {
      return isEnding_ || jobs_.size() >= wanted || (isAwaited_ && !jobs_.empty());
    });
    if (isEnding_) return;
    Job job = std::move(jobs_.front());
    jobs_.pop_front();
    isBusy_ = true;
    lock.unlock();
    std::exception_ptr failure;
    try {
      WriteTemporary(job.file, job.bytes, job.instant);
      Keep(std::move(job.file), job.bytes.size());
    } catch (...) {
      failure = std::current_exception();
    }
    lock.lock();
    isBusy_ = false;
    jobBytes_ -= job.bytes.size();
    if (failure) {
      // Whoever added these counts them as written: they go on waiting.
      failure_ = failure;
      jobs_.clear();
      jobBytes_ = 0;
    }
    if (jobs_.empty()) changed_.notify_all();
  }
}

bool FileBatch::IsFull(std::size_t bytes) {
  const std::lock_guard lock(mutex_);
  return failure_ || jobs_.size() >= MAX_QUEUED_FILES || jobBytes_ + bytes > MAX_QUEUED_BYTES;
}

void FileBatch::WaitUntilIdle() {
  const platform::Interruption::Pause pause;
  std::unique_lock lock(mutex_);
  isAwaited_ = true;
  changed_.notify_all();
  changed_.wait(lock, [&] { return !isBusy_ && jobs_.empty(); });
  isAwaited_ = false;
  if (failure_) std::rethrow_exception(std::exchange(failure_, nullptr));
}

void FileBatch::WriteTemporary(const File& file, std::string_view bytes,
                               std::optional<std::int64_t> instant) const {
  NewFile writing(from_, file.temporaryName);
  writing.Write(bytes);
  writing.Close(instant);
}

void FileBatch::Keep(File file, std::size_t sizeBytes) {
  files_.push_back(std::move(file));
  fileBytes_ += sizeBytes;
  if (files_.size() >= BATCH_FILES || fileBytes_ >= BATCH_BYTES) BeginFlush();
}

void FileBatch::BeginFlush() {
  FinishFlush();
  if (hasFlushFailed_) return;
  flushing_ = std::exchange(files_, {});
  fileBytes_ = 0;
  flush_ = std::async(std::launch::async, [this] { from_.FlushFileSystem(); });
}

void FileBatch::FinishFlush() {
  if (flushing_.empty() || hasFlushFailed_) return;
  // The system reports a failure once: a later flush would succeed and prove nothing.
  hasFlushFailed_ = true;
  if (flush_.valid()) {
    const platform::Interruption::Pause pause;
    flush_.get();
  } else {
    from_.FlushFileSystem();
  }
  hasFlushFailed_ = false;
  std::vector<std::filesystem::path> replaced;
  for (; !flushing_.empty(); flushing_.pop_front()) {
    File& file = flushing_.front();
    to_.Take(from_, file.temporaryName, file.name);
    --waiting_;
    std::ranges::move(file.replaced, std::back_inserter(replaced));
  }
  if (replaced.empty()) return;
  to_.FlushNames();
  for (const std::filesystem::path& path : replaced)
    std::filesystem::remove(path);
}

}  // namespace nimport::archive
