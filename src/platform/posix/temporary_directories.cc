#include "platform/posix/temporary_directories.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/posix/file_descriptor.h"

namespace nimport::platform::posix {
namespace {

// We make no directories in ours; whoever does so nests no deeper than this.
constexpr int MAX_DEPTH = 16;

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

bool IsDirectory(const std::string& path, dev_t device, ino_t inode) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_dev == device &&
         status.st_ino == inode;
}

}  // namespace

std::optional<std::string> TemporaryDirectories::Make() {
  const std::lock_guard lock(mutex_);
  std::string path = settings_("TMPDIR").value_or("/tmp") + "/nimport-XXXXXX";
  // Mode 0700, and a name that nobody can foresee.
  if (mkdtemp(path.data()) == nullptr) return std::nullopt;
  // Goes again when anything below fails.
  std::unique_ptr<const char, int (*)(const char*)> unfinished(path.c_str(), rmdir);
  struct stat status {};
  std::optional<std::string> windowsPath = paths_.ToWindows(path);
  if (!windowsPath || lstat(path.c_str(), &status) != 0) return std::nullopt;
  made_.push_back({.nativePath = path,
                   .windowsPath = *windowsPath,
                   .device = status.st_dev,
                   .inode = status.st_ino,
                   .owner = getpid()});
  static_cast<void>(unfinished.release());
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
