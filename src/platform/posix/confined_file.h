#ifndef NIMPORT_PLATFORM_POSIX_CONFINED_FILE_H_
#define NIMPORT_PLATFORM_POSIX_CONFINED_FILE_H_

#include <string>
#include <vector>

#include "platform/posix/file_descriptor.h"

namespace nimport::platform::posix {

// A path that may lead only into some directories. Symbolic links may lead from one place in them
// to another, never out of them, also while they are being changed. The directories themselves may
// be links.
class ConfinedPath {
 public:
  // `path` begins with the first of `roots`; both outlive the object.
  ConfinedPath(const std::string& path, const std::vector<std::string>& roots);

  // `flags` are those of open; O_CLOEXEC is added. On failure the result is not open and errno says
  // why: EXDEV for a file elsewhere.
  [[nodiscard]] FileDescriptor Open(int flags) const;

 private:
  const std::string& path_;
  const std::vector<std::string>& roots_;
  FileDescriptor root_;  // the first one
  int rootError_ = 0;    // errno, where that one cannot be opened
};

}  // namespace nimport::platform::posix

#endif  // NIMPORT_PLATFORM_POSIX_CONFINED_FILE_H_
