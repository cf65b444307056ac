#include "platform/posix/temporary_directory.h"

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

std::optional<TemporaryDirectory::Made> TemporaryDirectory::Make() const {
  Made made;
  made.nativePath = settings_("TMPDIR").value_or("/tmp") + "/nimport-XXXXXX";
  // Mode 0700, and a name that nobody can foresee.
  if (mkdtemp(made.nativePath.data()) == nullptr) return std::nullopt;
  struct stat status {};
  std::optional<std::string> windowsPath = paths_.ToWindows(made.nativePath);
  if (!windowsPath || lstat(made.nativePath.c_str(), &status) != 0) {
    rmdir(made.nativePath.c_str());
    return std::nullopt;
  }
  made.windowsPath = *std::move(windowsPath);
  made.device = status.st_dev;
  made.inode = status.st_ino;
  made.owner = getpid();
  return made;
}

std::optional<std::string> TemporaryDirectory::Acquire() {
  const std::lock_guard lock(mutex_);
  // A cleaner may have taken the directory away while it stood empty.
  const bool isUsable = made_ && made_->owner == getpid() &&
                        IsDirectory(made_->nativePath, made_->device, made_->inode);
  if (!isUsable) {
    std::optional<Made> fresh = Make();
    if (!fresh) return std::nullopt;
    made_ = std::move(fresh);
  }
  ++holders_;
  return made_->windowsPath;
}

void TemporaryDirectory::Release() noexcept {
  const std::lock_guard lock(mutex_);
  if (holders_ == 0 || --holders_ > 0) return;
  RemoveMade();
}

TemporaryDirectory::~TemporaryDirectory() {
  RemoveMade();
}

void TemporaryDirectory::RemoveMade() noexcept {
  if (!made_) return;
  if (made_->owner == getpid() && IsDirectory(made_->nativePath, made_->device, made_->inode)) {
    RemoveContents(OpenDirectory(AT_FDCWD, made_->nativePath.c_str()), MAX_DEPTH);
    rmdir(made_->nativePath.c_str());
  }
  made_.reset();
}

}  // namespace nimport::platform::posix
