#ifndef NIMPORT_PLATFORM_WINDOWS_WINDOWS_FILE_H_
#define NIMPORT_PLATFORM_WINDOWS_WINDOWS_FILE_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "common/random_access_file.h"
#include "platform/file_system.h"

namespace nimport::platform::windows {

// Opens a regular file by its full path, which other programs may have open and go on writing,
// renaming and deleting. With `roots`, throws FileMissing unless the file, all links followed, lies
// in one of these directories. Throws FileError.
[[nodiscard]] std::unique_ptr<RandomAccessFile> OpenWideFile(
    const std::wstring& path, const std::vector<std::wstring>& roots = {});

// A number that differs whenever the regular file at a path may be another or have changed. Empty
// when there is none. `roots` as above.
[[nodiscard]] std::optional<std::uint64_t> FindWideChangeStamp(
    const std::wstring& path, const std::vector<std::wstring>& roots = {});

// Creates the regular file at a full path, or empties it. Throws FileError, also when a link of any
// kind or no regular file stands there.
[[nodiscard]] std::unique_ptr<OutputFile> CreateWideFile(const std::wstring& path);

// A path for messages: without the prefix of long paths, UTF-8.
[[nodiscard]] std::string DisplayName(const std::wstring& path);

}  // namespace nimport::platform::windows

#endif  // NIMPORT_PLATFORM_WINDOWS_WINDOWS_FILE_H_
