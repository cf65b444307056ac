#include "platform/posix/temporary_directories.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include "platform/posix/file_descriptor.h"

namespace nimport::platform::posix {
namespace {

// We make no directories in ours; whoever does so nests no deeper than this.
constexpr int MAX_DEPTH = 16;

constexpr std::string_view NAME_BEGINS = "nimport-";
constexpr const char* LOCK_NAME = ".nimport-lock";

// A younger directory may belong to a process that has not locked it yet.
constexpr time_t LEFTOVER_SECONDS = 60;

bool IsSelfOrParent(const std::string& name) {
  return name == "." || name == "..";
}

FileDescriptor OpenDirectory(int parent, const char* name) {
  return FileDescriptor(openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

// Removes what is in the directory, without following links out of it.
void RemoveContents(FileDescriptor directory, int depth) {
  const std::unique_ptr<DIR, int (*)(DIR*)> stream(fdopendir(directory.get()), closedir);
  if (!stream) return;
  const int fd = directory.Release();
  while (const dirent* entry = readdir(stream.get())) {
    if (IsSelfOrParent(entry->d_name) || unlinkat(fd, entry->d_name, 0) == 0) continue;
    if (depth == 0) continue;
    FileDescriptor below = OpenDirectory(fd, entry->d_name);
    if (!below.IsOpen()) continue;
    RemoveContents(std::move(below), depth - 1);
    unlinkat(fd, entry->d_name, AT_REMOVEDIR);
  }
}

FileDescriptor OpenLock(int directory, int moreFlags) {
  return FileDescriptor(
      openat(directory, LOCK_NAME, O_RDWR | O_NOFOLLOW | O_CLOEXEC | moreFlags, 0600));
}

// Where there are no locks, a directory without one is as good.
FileDescriptor LockDirectory(const std::string& path) {
  FileDescriptor lock = OpenLock(OpenDirectory(AT_FDCWD, path.c_str()).get(), O_CREAT | O_EXCL);
  if (lock.IsOpen()) flock(lock.get(), LOCK_EX | LOCK_NB);
  return lock;
}

// Whether the open directory was made here by a process of this user that has ended.
bool IsLeftover(int directory) {
  const FileDescriptor lock = OpenLock(directory, 0);
  struct stat status {};
  return lock.IsOpen() && fstat(lock.get(), &status) == 0 && status.st_uid == geteuid() &&
         status.st_mtime + LEFTOVER_SECONDS < time(nullptr) &&
         flock(lock.get(), LOCK_EX | LOCK_NB) == 0;
}

void RemoveLeftovers(const std::string& parent) {
  const std::unique_ptr<DIR, int (*)(DIR*)> stream(opendir(parent.c_str()), closedir);
  if (!stream) return;
  while (const dirent* entry = readdir(stream.get())) {
    if (!std::string_view(entry->d_name).starts_with(NAME_BEGINS)) continue;
    FileDescriptor directory = OpenDirectory(dirfd(stream.get()), entry->d_name);
    if (!directory.IsOpen() || !IsLeftover(directory.get())) continue;
    RemoveContents(std::move(directory), MAX_DEPTH);
    unlinkat(dirfd(stream.get()), entry->d_name, AT_REMOVEDIR);
  }
}

bool IsDirectory(const std::string& path, dev_t device, ino_t inode) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_dev == device &&
         status.st_ino == inode;
}

}  // namespace

std::optional<std::string> TemporaryDirectories::Make() {
  const std::lock_guard lock(mutex_);
  const std::string parent = settings_("TMPDIR").value_or("/tmp");
  if (!std::exchange(hasLookedForLeftovers_, true)) RemoveLeftovers(parent);
  std::string path = parent + '/' + std::string(NAME_BEGINS) + "XXXXXX";
  // Mode 0700, and a name that nobody can foresee.
  if (mkdtemp(path.data()) == nullptr) return std::nullopt;
  // Goes again when anything below fails.
  std::unique_ptr<const char, int (*)(const char*)> unfinished(path.c_str(), rmdir);
  std::optional<std::string> windowsPath = paths_.ToWindows(path);
  struct stat status {};
  if (!windowsPath || lstat(path.c_str(), &status) != 0) return std::nullopt;
  made_.push_back({.nativePath = path,
                   .windowsPath = *windowsPath,
                   .device = status.st_dev,
                   .inode = status.st_ino,
                   .owner = getpid()});
  static_cast<void>(unfinished.release());
  made_.back().lock = LockDirectory(path);
  return windowsPath;
}

void TemporaryDirectories::Remove(std::string_view windowsPath) noexcept {
  const std::lock_guard lock(mutex_);
  const auto made = std::ranges::find(made_, windowsPath, &Made::windowsPath);
  if (made == made_.end()) return;
  RemoveFromDisk(*made);
  made_.erase(made);
}

TemporaryDirectories::~TemporaryDirectories() {
  for (const Made& made : made_)
    RemoveFromDisk(made);
}

void TemporaryDirectories::RemoveFromDisk(const Made& made) noexcept {
  // A cleaner may have taken it away, and somebody else come to its name.
  if (made.owner != getpid() || !IsDirectory(made.nativePath, made.device, made.inode)) return;
  RemoveContents(OpenDirectory(AT_FDCWD, made.nativePath.c_str()), MAX_DEPTH);
  rmdir(made.nativePath.c_str());
}

}  // namespace nimport::platform::posix
