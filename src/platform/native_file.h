// Files by the names that the system itself gives them.
#ifndef NIMPORT_PLATFORM_NATIVE_FILE_H_
#define NIMPORT_PLATFORM_NATIVE_FILE_H_

#include <memory>
#include <string>

#include "common/random_access_file.h"
#include "platform/file_system.h"

namespace nimport::platform {

// Opens a regular file by its native path, UTF-8 on Windows. Throws FileError.
[[nodiscard]] std::unique_ptr<RandomAccessFile> OpenNativeFile(const std::string& path);

// Makes a file that only its owner may read. Null when something has that name already; throws
// FileError.
[[nodiscard]] std::unique_ptr<OutputFile> CreateNewNativeFile(const std::string& path);

// Whether a directory shows the system itself instead of files (/proc, /sys): what is below it may
// be endless, and looking at it may do something.
[[nodiscard]] bool IsOfSystem(const std::string& directory);

}  // namespace nimport::platform

#endif  // NIMPORT_PLATFORM_NATIVE_FILE_H_
