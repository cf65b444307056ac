#include "archive/new_file.h"

#include <algorithm>
#include <iterator>
#include <system_error>
#include <utility>

#include "common/utf8_path.h"
#include "platform/interruption.h"

namespace nimport::archive {

namespace {

constexpr std::size_t BUFFER_BYTES = 256 << 10;

// What is flushed at once: a flush takes milliseconds however little there is to flush, and what
// waits is written again after the program was killed.
constexpr std::size_t BATCH_FILES = 1000;
constexpr std::size_t BATCH_BYTES = 64 << 20;

// What may wait to be written.
constexpr std::size_t MAX_QUEUED_FILES = 256;
constexpr std::size_t MAX_QUEUED_BYTES = 4 << 20;
// The thread is woken for so many: to go to sleep and wake up takes as long as to write some files.
constexpr std::size_t MIN_TAKEN_FILES = 32;

}  // namespace

NewFile::NewFile(const platform::OutputDirectory& directory, std::string temporaryName)
    : directory_(directory), file_(directory, std::move(temporaryName)) {}

NewFile::~NewFile() {
  if (!file_.IsOpen()) return;
  try {
    file_.Close();
  } catch (const std::system_error&) {
    // It is removed anyway.
  }
  static_cast<void>(directory_.TryToRemove(file_.name()));
}

void NewFile::Write(std::string_view bytes) {
  size_ += bytes.size();
  if (buffer_.size() + bytes.size() < BUFFER_BYTES) {
    buffer_.append(bytes);
    return;
  }
  WriteBuffer();
  file_.Write(bytes);
}

void NewFile::CutTo(std::uint64_t size) {
  WriteBuffer();
  file_.CutTo(size);
  size_ = size;
}

void NewFile::PutInPlace(const platform::OutputDirectory& directory, const std::string& name,
                         Flush flush) {
  WriteBuffer();
  if (flush == Flush::Yes) file_.Flush();
  // Some systems rename no file that is open.
  Close(std::nullopt);
  try {
    directory.Take(directory_, file_.name(), name);
  } catch (const std::system_error&) {
    static_cast<void>(directory_.TryToRemove(file_.name()));
    throw;
  }
  if (flush == Flush::Yes) directory.FlushNames();
}

void NewFile::Close(std::optional<std::int64_t> instant) {
  WriteBuffer();
  if (instant) file_.SetTime(*instant);
  try {
    file_.Close();
  } catch (const std::system_error&) {
    static_cast<void>(directory_.TryToRemove(file_.name()));
    throw;
  }
}

void NewFile::WriteBuffer() {
  file_.Write(buffer_);
  buffer_.clear();
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
      static_cast<void>(from_.TryToRemove(file.temporaryName));
}

void FileBatch::Add(const std::string& temporaryName, const std::string& name, std::string bytes,
                    std::optional<std::int64_t> instant,
                    std::vector<std::filesystem::path> replaced) {
  std::erase(replaced, to_.path() / PathFromUtf8(name));
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

std::vector<std::string> FileBatch::NamesOf(const std::deque<File>& files) {
  std::vector<std::string> names;
  names.reserve(files.size());
  for (const File& file : files)
    names.push_back(file.temporaryName);
  return names;
}

void FileBatch::BeginFlush() {
  FinishFlush();
  if (hasFlushFailed_) return;
  flushing_ = std::exchange(files_, {});
  fileBytes_ = 0;
  flush_ = std::async(std::launch::async, [this] { from_.FlushFiles(NamesOf(flushing_)); });
}

void FileBatch::FinishFlush() {
  if (flushing_.empty() || hasFlushFailed_) return;
  // The system reports a failure once: a later flush would succeed and prove nothing.
  hasFlushFailed_ = true;
  if (flush_.valid()) {
    const platform::Interruption::Pause pause;
    flush_.get();
  } else {
    from_.FlushFiles(NamesOf(flushing_));
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
