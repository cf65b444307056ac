#include "mkstore/drives.h"

#include <cerrno>
#include <cstring>
#include <fstream>

#include "common/utf8_path.h"
#include "jetwriter/write_error.h"
#include "text/ascii.h"

namespace nimport::mkstore {

std::filesystem::path Drives::ToNative(std::string_view windowsPath, const Node& place) const {
  const bool hasDrive =
      windowsPath.size() >= 3 && windowsPath[1] == ':' && text::IsAsciiLetter(windowsPath[0]);
  if (!hasDrive) {
    place.Fail("\"" + std::string(windowsPath) + "\" does not begin with a drive, as in C:\\");
  }
  const char drive = text::AsciiLower(windowsPath[0]);
  std::filesystem::path path = root_ / std::string(1, drive);
  std::string_view rest = windowsPath.substr(2);
  while (!rest.empty()) {
    const std::size_t end = std::min(rest.find_first_of("\\/"), rest.size());
    const std::string_view part = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    if (part == "..") place.Fail("the path leads out of its folder");
    // As UTF-8, whatever the system's own code page.
    if (!part.empty() && part != ".") path /= std::u8string(part.begin(), part.end());
  }
  return path;
}

void WriteFile(const std::filesystem::path& path, std::string_view bytes) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  file.close();
  if (!file) {
    throw jetwriter::WriteError(PathToUtf8(path) + " cannot be written: " + std::strerror(errno));
  }
}

}  // namespace nimport::mkstore
