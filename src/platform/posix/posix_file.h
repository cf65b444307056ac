#ifndef NIMPORT_PLATFORM_POSIX_POSIX_FILE_H_
#define NIMPORT_PLATFORM_POSIX_POSIX_FILE_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include <sys/stat.h>

#include "platform/file_system.h"
#include "platform/posix/file_descriptor.h"

namespace nimport::platform::posix {

// A number that differs whenever the regular file at a native path may be another or have changed.
// Empty when there is none.
[[nodiscard]] std::optional<std::uint64_t> FindNativeChangeStamp(const std::string& path);

// The same for a file of which the state is known; empty unless it is a regular one.
[[nodiscard]] std::optional<std::uint64_t> ChangeStampOf(const struct stat& status);

// An open file, by `name` in messages. Throws FileError unless it is a regular file.
[[nodiscard]] std::unique_ptr<RandomAccessFile> MakeFile(const std::string& name,
                                                         FileDescriptor file);

// Creates the regular file `name` in `directory`, or empties it; mode 0600. Throws FileError, also
// when `name` is a symbolic link or no regular file.
[[nodiscard]] std::unique_ptr<OutputFile> CreateNativeFile(const std::string& directory,
                                                           const std::string& name);

}  // namespace nimport::platform::posix

#endif  // NIMPORT_PLATFORM_POSIX_POSIX_FILE_H_
