#ifndef NIMPORT_PLATFORM_POSIX_POSIX_FILE_H_
#define NIMPORT_PLATFORM_POSIX_POSIX_FILE_H_

#include <memory>
#include <string>

#include "common/random_access_file.h"
#include "platform/file_system.h"

namespace nimport::platform::posix {

// Opens a regular file by its native path. Throws FileError.
[[nodiscard]] std::unique_ptr<RandomAccessFile> OpenNativeFile(const std::string& path);

// Creates the regular file `name` in `directory`, or empties it; mode 0600. Throws FileError, also
// when `name` is a symbolic link or no regular file.
[[nodiscard]] std::unique_ptr<OutputFile> CreateNativeFile(const std::string& directory,
                                                           const std::string& name);

}  // namespace nimport::platform::posix

#endif  // NIMPORT_PLATFORM_POSIX_POSIX_FILE_H_
