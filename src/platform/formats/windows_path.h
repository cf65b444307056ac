// Paths as the mail client's data spells them.
#ifndef NIMPORT_PLATFORM_FORMATS_WINDOWS_PATH_H_
#define NIMPORT_PLATFORM_FORMATS_WINDOWS_PATH_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace nimport::platform {

enum class PathStart {
  Drive,     // C:\mail
  Root,      // /home/user: below the system's own root
  Relative,  // mail\1.txt: below the process's current directory
  Network,   // \\server\share\mail
};

// A path in its parts, without "." and "..".
struct WindowsPath {
  PathStart start = PathStart::Relative;
  char drive = '\0';               // 'A' to 'Z'; of a Drive path only
  unsigned levelsUp = 0;           // leading ".." of a Relative path
  std::string server;              // of a Network path only, code page 932
  std::string share;               // likewise
  std::vector<std::string> parts;  // code page 932
};

// Takes a path in code page 932 apart. '\' and '/' separate, but not as the second byte of a
// double-byte character. Empty when the path names nothing that could be opened: no text, a NUL or
// a colon in a part, a device such as "NUL.txt" or "\\.\C:", a drive without a separator after it,
// or
// ".." that leads above the root.
[[nodiscard]] std::optional<WindowsPath> ParseWindowsPath(std::string_view path);

}  // namespace nimport::platform

#endif  // NIMPORT_PLATFORM_FORMATS_WINDOWS_PATH_H_
