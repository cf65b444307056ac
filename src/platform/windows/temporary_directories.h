#ifndef NIMPORT_PLATFORM_WINDOWS_TEMPORARY_DIRECTORIES_H_
#define NIMPORT_PLATFORM_WINDOWS_TEMPORARY_DIRECTORIES_H_

#include <list>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/settings.h"
#include "platform/windows/file_handle.h"
#include "platform/windows/native_paths.h"

namespace nimport::platform::windows {

// The directories for temporary files that this process has made: their names cannot be foreseen,
// and nobody but the process's user may enter them. They lie in the system's temporary directory
// or, where that has no name in code page 932, in the machine's directory for program data. Each
// holds a file that is kept open: directories of processes that were killed, where it can be opened
// again, go when the next process makes one. Safe to use from several threads.
class TemporaryDirectories {
 public:
  TemporaryDirectories(Settings settings, const NativePaths& paths)
      : settings_(std::move(settings)), paths_(paths) {}
  // Removes those that are left.
  ~TemporaryDirectories();
  TemporaryDirectories(const TemporaryDirectories&) = delete;
  TemporaryDirectories& operator=(const TemporaryDirectories&) = delete;

  // A new directory, in code page 932 and without a trailing '\'. Empty when it cannot be made.
  [[nodiscard]] std::optional<std::string> Make();

  // Removes a directory that Make answered, with all that it contains; any other path is ignored.
  void Remove(std::string_view codePagePath) noexcept;

 private:
  struct Made {
    std::wstring path;  // full
    std::string codePagePath;
    FileHandle lock;
  };

  [[nodiscard]] std::vector<std::wstring> Candidates() const;
  [[nodiscard]] std::optional<Made> MakeBelow(const std::wstring& parent);
  static void RemoveFromDisk(Made& made) noexcept;

  Settings settings_;
  const NativePaths& paths_;
  std::mutex mutex_;
  std::list<Made> made_;
  bool hasLookedForLeftovers_ = false;
};

}  // namespace nimport::platform::windows

#endif  // NIMPORT_PLATFORM_WINDOWS_TEMPORARY_DIRECTORIES_H_
