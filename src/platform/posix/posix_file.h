#ifndef NIMPORT_PLATFORM_POSIX_POSIX_FILE_H_
#define NIMPORT_PLATFORM_POSIX_POSIX_FILE_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/file_system.h"

namespace nimport::platform::posix {

// A number that differs whenever the regular file at a native path may be another or have changed.
// Empty when there is none.
[[nodiscard]] std::optional<std::uint64_t> FindNativeChangeStamp(const std::string& path);

// Creates the regular file `name` in `directory`, or empties it; mode 0600. Throws FileError, also
// when `name` is a symbolic link or no regular file.
[[nodiscard]] std::unique_ptr<OutputFile> CreateNativeFile(const std::string& directory,
                                                           const std::string& name);

}  // namespace nimport::platform::posix

#endif  // NIMPORT_PLATFORM_POSIX_POSIX_FILE_H_
