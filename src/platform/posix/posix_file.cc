#include "platform/posix/posix_file.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <limits>
#include <utility>

#include <fcntl.h>
#include <linux/magic.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <time.h>

#include "platform/change_stamp.h"
#include "platform/native_file.h"
#include "platform/posix/file_descriptor.h"

namespace nimport::platform::posix {
namespace {

constexpr std::int64_t NANOSECONDS_PER_SECOND = 1'000'000'000;

std::int64_t Nanoseconds(const timespec& time) {
  return time.tv_sec * NANOSECONDS_PER_SECOND + time.tv_nsec;
}

// Differs from that of an earlier state of the same file.
ChangeStamp StampOf(const struct stat& status) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  ChangeStamp stamp;
  stamp.Add(static_cast<std::uint64_t>(status.st_ino));
  stamp.Add(static_cast<std::uint64_t>(status.st_size));
  stamp.AddLastWrite(Nanoseconds(status.st_mtim), Nanoseconds(now));
  return stamp;
}

// Emptying a file that is empty already makes some file systems write it out when it is closed,
// which takes longer than everything else about a small file.
void EmptyFile(int descriptor, const std::string& name) {
  struct stat status {};
  if (fstat(descriptor, &status) == 0 && status.st_size == 0) return;
  if (ftruncate(descriptor, 0) != 0) FailFile(name, "cannot be emptied", errno);
}

// Throws FileError unless `file` is a regular file.
void CheckIsRegular(const FileDescriptor& file, const std::string& name) {
  struct stat status {};
  if (fstat(file.get(), &status) != 0) FailFile(name, "cannot be examined", errno);
  if (S_ISDIR(status.st_mode)) FailFile(name, "cannot be opened", EISDIR);
  if (!S_ISREG(status.st_mode)) throw FileError(name + ": is not a regular file");
}

class PosixFile final : public RandomAccessFile {
 public:
  PosixFile(std::string name, FileDescriptor file)
      : name_(std::move(name)), file_(std::move(file)) {}

  [[nodiscard]] const std::string& Name() const override { return name_; }

  [[nodiscard]] std::uint64_t Size() const override {
    return static_cast<std::uint64_t>(Status().st_size);
  }

  [[nodiscard]] std::uint64_t ChangeStamp() const override { return StampOf(Status()).value(); }

  std::size_t ReadAt(std::uint64_t offset, std::span<std::byte> buffer) const override {
    std::size_t done = 0;
    while (done < buffer.size()) {
      const std::uint64_t position = offset + done;
      if (position > static_cast<std::uint64_t>(std::numeric_limits<off_t>::max())) break;
      const ssize_t count = pread(file_.get(), buffer.data() + done, buffer.size() - done,
                                  static_cast<off_t>(position));
      if (count == 0) break;
      if (count > 0) {
        done += static_cast<std::size_t>(count);
      } else if (errno != EINTR) {
        FailFile(name_, "cannot be read", errno);
      }
    }
    return done;
  }

 private:
  [[nodiscard]] struct stat Status() const {
    struct stat status {};
    if (fstat(file_.get(), &status) != 0) FailFile(name_, "cannot be examined", errno);
    return status;
  }

  std::string name_;
  FileDescriptor file_;
};

class PosixOutputFile final : public OutputFile {
 public:
  PosixOutputFile(std::string name, FileDescriptor file)
      : name_(std::move(name)), file_(std::move(file)) {}

  void Write(std::span<const std::byte> bytes) override {
    const SignalGuard noFileSizeSignal(SIGXFSZ);
    while (!bytes.empty()) {
      const ssize_t count = write(file_.get(), bytes.data(), bytes.size());
      if (count >= 0) {
        bytes = bytes.subspan(static_cast<std::size_t>(count));
      } else if (errno != EINTR) {
        FailFile(name_, "cannot be written", errno);
      }
    }
  }

  void Close() override {
    // After EINTR the descriptor is closed all the same.
    if (close(file_.Release()) != 0 && errno != EINTR) FailFile(name_, "cannot be closed", errno);
  }

 private:
  std::string name_;
  FileDescriptor file_;
};

// As open, for paths of any length: the system takes no more than PATH_MAX bytes at once.
FileDescriptor OpenAnyLength(std::string_view path, int flags) {
  constexpr std::size_t MAX_PIECE = PATH_MAX - 1;
  FileDescriptor directory(AT_FDCWD);
  while (path.size() > MAX_PIECE) {
    const std::size_t slash = path.rfind('/', MAX_PIECE - 1);
    if (slash == std::string_view::npos) break;
    const std::string piece(path.substr(0, slash + 1));
    path.remove_prefix(slash + 1);
    path.remove_prefix(std::min(path.find_first_not_of('/'), path.size()));
    directory =
        FileDescriptor(openat(directory.get(), piece.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!directory.IsOpen()) return {};
  }
  return FileDescriptor(openat(directory.get(), std::string(path).c_str(), flags));
}

}  // namespace

std::optional<std::uint64_t> ChangeStampOf(const struct stat& status) {
  if (!S_ISREG(status.st_mode)) return std::nullopt;
  // A name stands now for this file and now for that one. The time of the last change of anything
  // shows permissions that were taken away, and of time stamps that were set back.
  ChangeStamp stamp = StampOf(status);
  stamp.Add(static_cast<std::uint64_t>(status.st_dev));
  stamp.Add(static_cast<std::uint64_t>(Nanoseconds(status.st_ctim)));
  return stamp.value();
}

std::optional<std::uint64_t> FindNativeChangeStamp(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 ? ChangeStampOf(status) : std::nullopt;
}

std::unique_ptr<RandomAccessFile> MakeFile(const std::string& name, FileDescriptor file) {
  CheckIsRegular(file, name);
  return std::make_unique<PosixFile>(name, std::move(file));
}

std::unique_ptr<OutputFile> CreateNativeFile(const std::string& directory,
                                             const std::string& name) {
  const std::string path = directory + name;
  const FileDescriptor parent(open(directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!parent.IsOpen()) FailFile(path, "cannot be created", errno);
  constexpr int FLAGS = O_WRONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
  FileDescriptor file(openat(parent.get(), name.c_str(), FLAGS, S_IRUSR | S_IWUSR));
  if (!file.IsOpen()) FailFile(path, "cannot be created", errno);
  CheckIsRegular(file, path);
  // An older file may be open to more readers than mails should have. A file system without modes
  // refuses this; the mail is still wanted there.
  (void)fchmod(file.get(), S_IRUSR | S_IWUSR);
  EmptyFile(file.get(), path);
  return std::make_unique<PosixOutputFile>(path, std::move(file));
}

}  // namespace nimport::platform::posix

namespace nimport::platform {

std::unique_ptr<RandomAccessFile> OpenNativeFile(const std::string& path) {
  // A FIFO would make the open wait for a writer.
  posix::FileDescriptor file =
      posix::OpenAnyLength(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (!file.IsOpen()) posix::FailFile(path, "cannot be opened", errno);
  return posix::MakeFile(path, std::move(file));
}

std::unique_ptr<OutputFile> CreateNewNativeFile(const std::string& path) {
  constexpr int FLAGS = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC;
  posix::FileDescriptor file(open(path.c_str(), FLAGS, S_IRUSR | S_IWUSR));
  if (!file.IsOpen() && errno == EEXIST) return nullptr;
  if (!file.IsOpen()) posix::FailFile(path, "cannot be created", errno);
  return std::make_unique<posix::PosixOutputFile>(path, std::move(file));
}

bool IsOfSystem(const std::string& directory) {
  constexpr std::array KINDS = std::to_array<std::uint64_t>(
      {PROC_SUPER_MAGIC, SYSFS_MAGIC, DEVPTS_SUPER_MAGIC, CGROUP_SUPER_MAGIC, CGROUP2_SUPER_MAGIC,
       DEBUGFS_MAGIC, TRACEFS_MAGIC, SECURITYFS_MAGIC, BPF_FS_MAGIC, PSTOREFS_MAGIC});
  struct statfs status {};
  if (statfs(directory.c_str(), &status) != 0) return false;
  return std::ranges::find(KINDS, static_cast<std::uint64_t>(status.f_type)) != KINDS.end();
}

}  // namespace nimport::platform
