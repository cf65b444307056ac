#ifndef NIMPORT_PLATFORM_POSIX_TEMPORARY_DIRECTORY_H_
#define NIMPORT_PLATFORM_POSIX_TEMPORARY_DIRECTORY_H_

#include <mutex>
#include <optional>
#include <string>

#include <sys/types.h>

#include "platform/posix/native_paths.h"
#include "platform/posix/settings.h"

namespace nimport::platform::posix {

// The directory for temporary files that belongs to this process alone (mode 0700). It lies in
// TMPDIR, else in /tmp, and is there as long as somebody holds it. Safe to use from several
// threads.
class TemporaryDirectory {
 public:
  TemporaryDirectory(Settings settings, const NativePaths& paths)
      : settings_(std::move(settings)), paths_(paths) {}
  ~TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  // The directory in Windows form. Empty when it cannot be made or has no such form; then nothing
  // is held.
  [[nodiscard]] std::optional<std::string> Acquire();

  // After the last holder's call the directory goes away with all that it contains.
  void Release() noexcept;

 private:
  // A directory that this process has made.
  struct Made {
    std::string nativePath;
    std::string windowsPath;
    dev_t device = 0;
    ino_t inode = 0;
    pid_t owner = 0;  // after a fork the parent's directory is not the child's to remove
  };

  [[nodiscard]] std::optional<Made> Make() const;
  void RemoveMade() noexcept;

  Settings settings_;
  const NativePaths& paths_;
  std::mutex mutex_;
  std::optional<Made> made_;
  int holders_ = 0;
};

}  // namespace nimport::platform::posix

#endif  // NIMPORT_PLATFORM_POSIX_TEMPORARY_DIRECTORY_H_
