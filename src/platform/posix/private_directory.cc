#include "platform/private_directory.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <exception>
#include <set>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include "platform/posix/file_descriptor.h"

namespace nimport::platform {
namespace posix {
namespace {

constexpr std::string_view NAME_BEGINS = "nimport-";
constexpr const char* LOCK_NAME = ".nimport-lock";

// A younger directory may belong to a process that has not locked it yet.
constexpr time_t LEFTOVER_SECONDS = 60;

// More names than any session hands out; who wrote more wrote something else.
constexpr std::size_t MAX_LIST_BYTES = 64 << 20;

FileDescriptor OpenDirectory(int parent, const char* name) {
  return FileDescriptor(openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

// Without waiting: another program may hold a lease on the file.
FileDescriptor OpenLock(int directory, int moreFlags) {
  constexpr int FLAGS = O_RDWR | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
  return FileDescriptor(openat(directory, LOCK_NAME, FLAGS | moreFlags, S_IRUSR | S_IWUSR));
}

template <typename Names>
void RemoveListed(int directory, const Names& names) noexcept {
  for (const std::string& name : names)
    unlinkat(directory, name.c_str(), 0);
  // Last, so that a directory whose removal is interrupted is still recognised. One that stays for
  // what the user put there is not looked at again.
  unlinkat(directory, LOCK_NAME, 0);
}

class PosixPrivateDirectory final : public PrivateDirectory {
 public:
  // `path` was just made. Throws FileError.
  explicit PosixPrivateDirectory(std::string path)
      : path_(std::move(path)),
        process_(getpid()),
        directory_(OpenDirectory(AT_FDCWD, path_.c_str())) {
    if (!directory_.IsOpen()) FailFile(path_, "cannot be opened", errno);
    // Where there are no locks, a directory without one is as good.
    lock_ = OpenLock(directory_.get(), O_CREAT | O_EXCL);
    if (lock_.IsOpen()) flock(lock_.get(), LOCK_EX | LOCK_NB);
  }

  ~PosixPrivateDirectory() override {
    if (process_ != getpid()) return;
    RemoveListed(directory_.get(), names_);
    if (IsInItsPlace()) rmdir(path_.c_str());
  }

  [[nodiscard]] const std::string& path() const override { return path_; }

  void List(const std::string& name) override {
    if (process_ != getpid() || !names_.insert(name).second || !lock_.IsOpen()) return;
    // A list that cannot be written is no reason to do without the file.
    const SignalGuard noFileSizeSignal(SIGXFSZ);
    const std::size_t size = name.size() + 1;
    const ssize_t written = pwrite(lock_.get(), name.c_str(), size, listBytes_);
    if (written == static_cast<ssize_t>(size)) listBytes_ += written;
  }

 private:
  // Somebody may have moved it, and another come to its name.
  [[nodiscard]] bool IsInItsPlace() const noexcept {
    struct stat own {};
    struct stat found {};
    return fstat(directory_.get(), &own) == 0 && lstat(path_.c_str(), &found) == 0 &&
           own.st_dev == found.st_dev && own.st_ino == found.st_ino;
  }

  std::string path_;
  pid_t process_;
  FileDescriptor directory_;
  FileDescriptor lock_;
  off_t listBytes_ = 0;
  std::set<std::string> names_;
};

// Whether the open directory is as we make them. In another user's, things could move while it is
// emptied.
bool IsPrivate(int directory) {
  struct stat status {};
  return directory >= 0 && fstat(directory, &status) == 0 && status.st_uid == geteuid() &&
         (status.st_mode & (S_IRWXG | S_IRWXO)) == 0;
}

// Whether the open lock file is one of ours whose process has ended. It is locked then.
bool IsAbandoned(int lock) {
  struct stat status {};
  return lock >= 0 && fstat(lock, &status) == 0 && S_ISREG(status.st_mode) &&
         status.st_uid == geteuid() && status.st_nlink == 1 &&
         status.st_mtime + LEFTOVER_SECONDS < time(nullptr) && flock(lock, LOCK_EX | LOCK_NB) == 0;
}

std::string ReadList(int lock) {
  std::string contents;
  std::array<char, 4096> piece{};
  while (contents.size() < MAX_LIST_BYTES) {
    const ssize_t size =
        pread(lock, piece.data(), piece.size(), static_cast<off_t>(contents.size()));
    if (size <= 0) break;
    contents.append(piece.data(), static_cast<std::size_t>(size));
  }
  return contents;
}

void RemoveLeftover(int parent, const char* name) {
  const FileDescriptor directory = OpenDirectory(parent, name);
  if (!IsPrivate(directory.get())) return;
  const FileDescriptor lock = OpenLock(directory.get(), 0);
  if (!IsAbandoned(lock.get())) return;
  RemoveListed(directory.get(), ParseListedNames(ReadList(lock.get())));
  unlinkat(parent, name, AT_REMOVEDIR);
}

}  // namespace
}  // namespace posix

std::unique_ptr<PrivateDirectory> MakePrivateDirectory(const std::string& parent) {
  // The full path: the process may change its current directory.
  const std::unique_ptr<char, void (*)(void*)> real(realpath(parent.c_str(), nullptr), std::free);
  if (!real) posix::FailFile(parent, "cannot be used", errno);
  std::string path = real.get();
  if (!path.ends_with('/')) path += '/';
  path.append(posix::NAME_BEGINS).append("XXXXXX");
  // Mode 0700, and a name that nobody can foresee.
  if (mkdtemp(path.data()) == nullptr) {
    posix::FailFile(parent, "a directory cannot be made there", errno);
  }
  try {
    return std::make_unique<posix::PosixPrivateDirectory>(path);
  } catch (...) {
    rmdir(path.c_str());
    throw;
  }
}

void RemoveLeftoverDirectories(const std::string& parent) noexcept {
  const std::unique_ptr<DIR, int (*)(DIR*)> stream(opendir(parent.c_str()), closedir);
  if (!stream) return;
  try {
    while (const dirent* entry = readdir(stream.get())) {
      if (!std::string_view(entry->d_name).starts_with(posix::NAME_BEGINS)) continue;
      posix::RemoveLeftover(dirfd(stream.get()), entry->d_name);
    }
  } catch (const std::exception&) {
    // Out of memory: the rest stays for the next process.
  }
}

std::vector<std::string> FindTemporaryPlaces(const Settings& settings) {
  std::vector<std::string> places = {"/tmp", "/var/tmp"};
  if (std::optional<std::string> chosen = settings("TMPDIR")) {
    std::erase(places, *chosen);
    places.insert(places.begin(), *std::move(chosen));
  }
  return places;
}

}  // namespace nimport::platform
