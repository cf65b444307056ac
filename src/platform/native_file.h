// Files by the names that the system itself gives them.
#ifndef NIMPORT_PLATFORM_NATIVE_FILE_H_
#define NIMPORT_PLATFORM_NATIVE_FILE_H_

#include <memory>
#include <string>

#include "common/random_access_file.h"

namespace nimport::platform {

// Opens a regular file by its native path, UTF-8 on Windows. Throws FileError.
[[nodiscard]] std::unique_ptr<RandomAccessFile> OpenNativeFile(const std::string& path);

}  // namespace nimport::platform

#endif  // NIMPORT_PLATFORM_NATIVE_FILE_H_
