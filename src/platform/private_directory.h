// Directories for this process's own files. The system's part: posix/ and windows/ provide it.
#ifndef NIMPORT_PLATFORM_PRIVATE_DIRECTORY_H_
#define NIMPORT_PLATFORM_PRIVATE_DIRECTORY_H_

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/settings.h"

namespace nimport::platform {

// A directory that only the process's user can enter, under a name that nobody can foresee. It
// holds a file, ".nimport-lock", that is locked while its process lives and lists the names of the
// files that were made in the directory, each with a NUL after it. By these two a directory of a
// killed process is recognised, and what in it is not the user's.
//
// When destroyed, the listed files go, and the directory if nothing else is in it then. After a
// fork that is the parent's alone.
class PrivateDirectory {
 public:
  virtual ~PrivateDirectory() = default;
  PrivateDirectory(const PrivateDirectory&) = delete;
  PrivateDirectory& operator=(const PrivateDirectory&) = delete;

  // Absolute, as the system spells it, UTF-8 and without a trailing separator.
  [[nodiscard]] virtual const std::string& path() const = 0;

  // Lists a file that is about to be made in the directory: its name, UTF-8. Throws std::bad_alloc.
  virtual void List(const std::string& name) = 0;

 protected:
  PrivateDirectory() = default;
};

// A new directory in `parent`, a path of the system in UTF-8. Throws FileError.
[[nodiscard]] std::unique_ptr<PrivateDirectory> MakePrivateDirectory(const std::string& parent);

// Removes the listed files of such directories in `parent` whose processes have ended, and the
// directories if nothing else is in them. Only directories of the process's user are looked at;
// links are not followed, and nobody is waited for.
void RemoveLeftoverDirectories(const std::string& parent) noexcept;

// Where temporary files may lie on this system, in the order of preference; UTF-8.
[[nodiscard]] std::vector<std::string> FindTemporaryPlaces(const Settings& settings);

// The names in the contents of a lock file. A name that was not written whole is left out, and so
// is one that could lead out of the directory.
[[nodiscard]] std::vector<std::string> ParseListedNames(std::string_view contents);

}  // namespace nimport::platform

#endif  // NIMPORT_PLATFORM_PRIVATE_DIRECTORY_H_
