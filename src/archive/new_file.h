#ifndef NIMPORT_ARCHIVE_NEW_FILE_H_
#define NIMPORT_ARCHIVE_NEW_FILE_H_

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <filesystem>
#include <future>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "platform/output_directory.h"

namespace nimport::archive {

enum class Flush { Yes, No };

// A file that is written under a temporary name and gets its own when it is whole. Removed when
// destroyed before that. Failures are std::system_error.
class NewFile {
 public:
  // Replaces what an interrupted run left under the temporary name. `directory` outlives the file.
  NewFile(const platform::OutputDirectory& directory, std::string temporaryName);
  ~NewFile();
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  void Write(std::string_view bytes);

  // How many bytes were written, and takes back what was written after so many.
  [[nodiscard]] std::uint64_t size() const { return size_; }
  void CutTo(std::uint64_t size);

  // Closes the file, flushes it and renames it to `name` in `directory`, on the same file system:
  // after a loss of power, whatever has that name is whole. A flush may wait for what other
  // programs write.
  void PutInPlace(const platform::OutputDirectory& directory, const std::string& name,
                  Flush flush = Flush::Yes);

 private:
  friend class FileBatch;

  // The file keeps its temporary name, even when this object is destroyed. `instant`, seconds since
  // 1970-01-01 UTC, becomes the time of its last change.
  void Close(std::optional<std::int64_t> instant);
  void WriteBuffer();

  const platform::OutputDirectory& directory_;
  platform::WritableFile file_;
  std::uint64_t size_ = 0;
  std::string buffer_;  // of that, what is not in the file yet
};

// Writes many files into a directory, in a thread of its own while the next ones are made. They
// keep temporary names until a lot of them is flushed at once, since a flush for each would take
// longer than all the rest; while one lot is flushed the next one is written. Those that still wait
// when the object is destroyed are removed. Failures are std::system_error; they may come from a
// later call than the one whose file they concern, which they name.
class FileBatch {
 public:
  // Files are written in `from` and belong in `to`, on the same file system; both outlive the
  // batch.
  FileBatch(const platform::OutputDirectory& from, const platform::OutputDirectory& to)
      : from_(from), to_(to) {}
  ~FileBatch();
  FileBatch(const FileBatch&) = delete;
  FileBatch& operator=(const FileBatch&) = delete;

  // Writes a file of `bytes` that is to be called `name`; `instant` as for a NewFile. Those of
  // `replaced` that have another path are removed once it has its name.
  void Add(const std::string& temporaryName, const std::string& name, std::string bytes,
           std::optional<std::int64_t> instant, std::vector<std::filesystem::path> replaced);

  // Flushes what is waiting, then gives it its names, in the order in which it came. After a
  // failure of Add, what was written before that.
  void PutInPlace();

  // How many of the files that Add took have not got their names; after a failure, what is lost
  // with it stays among them. May be asked in any thread.
  [[nodiscard]] std::size_t waiting() const { return waiting_; }

 private:
  struct File {
    std::string temporaryName;
    std::string name;
    std::vector<std::filesystem::path> replaced;
  };
  struct Job {
    File file;
    std::string bytes;
    std::optional<std::int64_t> instant;
  };

  // Runs in the thread until the object is destroyed.
  void Work();
  // Whether so many bytes more are too much to wait for the thread.
  [[nodiscard]] bool IsFull(std::size_t bytes);
  // Waits until the thread has nothing to do. Throws what failed there.
  void WaitUntilIdle();

  // These belong to the thread, or to the caller while that is idle.
  void WriteTemporary(const File& file, std::string_view bytes,
                      std::optional<std::int64_t> instant) const;
  // Remembers a file that was written; a full lot begins to be flushed.
  void Keep(File file, std::size_t sizeBytes);
  [[nodiscard]] static std::vector<std::string> NamesOf(const std::deque<File>& files);
  void BeginFlush();
  // Waits for the flush that is under way, or flushes, and names what it was for.
  void FinishFlush();

  const platform::OutputDirectory& from_;
  const platform::OutputDirectory& to_;
  std::atomic<std::size_t> waiting_ = 0;

  std::deque<File> flushing_;  // may be on the disk; `flush_` knows
  std::future<void> flush_;
  bool hasFlushFailed_ = false;  // what waits goes on waiting
  std::deque<File> files_;       // written after that flush began
  std::size_t fileBytes_ = 0;    // of those

  std::mutex mutex_;  // of all that follows
  std::condition_variable changed_;
  std::deque<Job> jobs_;
  std::size_t jobBytes_ = 0;
  bool isBusy_ = false;     // with a job that it took from the queue
  bool isAwaited_ = false;  // somebody waits until nothing is left to do
  bool isEnding_ = false;
  std::exception_ptr failure_;  // that nobody has heard of yet
  std::thread thread_;          // since the first job
};

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_NEW_FILE_H_
