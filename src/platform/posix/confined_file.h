#ifndef NIMPORT_PLATFORM_POSIX_CONFINED_FILE_H_
#define NIMPORT_PLATFORM_POSIX_CONFINED_FILE_H_

#include <string>
#include <vector>

#include "platform/posix/file_descriptor.h"

namespace nimport::platform::posix {

// Opens `path`, which begins with the first of `roots`, if the file that it names in the end lies
// in one of these directories: symbolic links may lead from one place in them to another, never out
// of them, also while they are being changed. The directories themselves may be links. `flags` are
// those of open; O_CLOEXEC is added. On failure the result is not open and errno tells why: EXDEV
// for a file elsewhere.
[[nodiscard]] FileDescriptor OpenConfined(const std::string& path,
                                          const std::vector<std::string>& roots, int flags);

}  // namespace nimport::platform::posix

#endif  // NIMPORT_PLATFORM_POSIX_CONFINED_FILE_H_
