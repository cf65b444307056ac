#ifndef NIMPORT_HOST_NATIVE_PATH_H_
#define NIMPORT_HOST_NATIVE_PATH_H_

#include <filesystem>
#include <map>
#include <string>
#include <string_view>

namespace nimport::host {

// Directories by drive letter (capital).
using DriveMap = std::map<char, std::filesystem::path>;

// The drives that a value of NIMPORT_DRIVES names ("C=/mnt/disk;D=/srv"). Entries without a letter
// or a directory are left out.
[[nodiscard]] DriveMap ParseDriveMap(std::string_view text);

// The inverse. A directory whose name contains ';' cannot be told.
[[nodiscard]] std::string ToText(const DriveMap& drives);

// The native path of a path that the plug-in answered, as this process's environment maps it:
// NIMPORT_DRIVES first, then the drives of the Wine prefix, and `Z` is `/` unless mapped. Parts
// that do not exist as spelt are looked for without regard to letter case. `path` is UTF-8, in
// Windows form or native; the file itself need not exist. Empty when its drive is not mapped.
[[nodiscard]] std::filesystem::path NativePath(std::string_view path);

// The directory of the Wine prefix in use; it need not exist.
[[nodiscard]] std::filesystem::path WinePrefix();

}  // namespace nimport::host

#endif  // NIMPORT_HOST_NATIVE_PATH_H_
