#ifndef NIMPORT_PLATFORM_TEMPORARY_DIRECTORIES_H_
#define NIMPORT_PLATFORM_TEMPORARY_DIRECTORIES_H_

#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

#include "platform/private_directory.h"
#include "platform/settings.h"

namespace nimport::platform {

// The private directories for temporary files that this process has made, by the paths that it
// hands out for them. The first Make also removes what killed processes left in the same place.
// Safe to use from several threads.
class TemporaryDirectories {
 public:
  // The Windows path of a directory of the system (UTF-8), without a trailing separator.
  // Throws FileError where it has none; another place is then tried.
  using ToWindowsPath = std::function<std::string(const std::string& directory)>;

  // Directories that are left when the object is destroyed go as by Remove.
  TemporaryDirectories(Settings settings, ToWindowsPath toWindowsPath)
      : settings_(std::move(settings)), toWindowsPath_(std::move(toWindowsPath)) {}

  // A new directory in the first of the system's temporary places where that is possible. Throws
  // FileError, which names each place and what is wrong with it.
  [[nodiscard]] std::string Make();

  // Remembers that the file at `path`, whose name is `name` (UTF-8) on the system, is about to be
  // made. A path in no directory that Make answered is ignored.
  void List(std::string_view path, const std::string& name);

  // Removes the listed files of a directory that Make answered, and the directory if nothing else
  // is in it; any other path is ignored.
  void Remove(std::string_view path) noexcept;

 private:
  struct Made {
    std::string path;
    std::unique_ptr<PrivateDirectory> directory;
  };

  [[nodiscard]] Made MakeIn(const std::string& place);

  Settings settings_;
  ToWindowsPath toWindowsPath_;
  std::mutex mutex_;
  std::list<Made> made_;
  bool hasLookedForLeftovers_ = false;
};

}  // namespace nimport::platform

#endif  // NIMPORT_PLATFORM_TEMPORARY_DIRECTORIES_H_
