#ifndef NIMPORT_PLATFORM_POSIX_TEMPORARY_DIRECTORIES_H_
#define NIMPORT_PLATFORM_POSIX_TEMPORARY_DIRECTORIES_H_

#include <list>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <sys/types.h>

#include "platform/posix/file_descriptor.h"
#include "platform/posix/native_paths.h"
#include "platform/settings.h"

namespace nimport::platform::posix {

// The directories for temporary files that this process has made (mode 0700), in TMPDIR or else in
// /tmp. Each holds a locked file: directories of processes that were killed, known by that file
// without its lock, go when the next process makes one. Safe to use from several threads.
class TemporaryDirectories {
 public:
  TemporaryDirectories(Settings settings, const NativePaths& paths)
      : settings_(std::move(settings)), paths_(paths) {}
  // Removes those that are left.
  ~TemporaryDirectories();
  TemporaryDirectories(const TemporaryDirectories&) = delete;
  TemporaryDirectories& operator=(const TemporaryDirectories&) = delete;

  // A new directory, in Windows form. Empty when it cannot be made or has no such form.
  [[nodiscard]] std::optional<std::string> Make();

  // Removes a directory that Make answered, with all that it contains; any other path is ignored.
  void Remove(std::string_view windowsPath) noexcept;

 private:
  struct Made {
    std::string nativePath;
    std::string windowsPath;
    dev_t device = 0;
    ino_t inode = 0;
    pid_t owner = 0;  // after a fork the parent's directories are not the child's to remove
    FileDescriptor lock = {};
  };

  static void RemoveFromDisk(const Made& made) noexcept;

  Settings settings_;
  const NativePaths& paths_;
  std::mutex mutex_;
  std::list<Made> made_;
  bool hasLookedForLeftovers_ = false;
};

}  // namespace nimport::platform::posix

#endif  // NIMPORT_PLATFORM_POSIX_TEMPORARY_DIRECTORIES_H_
