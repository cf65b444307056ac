#include "platform/formats/windows_path.h"

#include <algorithm>
#include <array>

#include "text/ascii.h"
#include "text/code_page_932.h"

namespace nimport::platform {
namespace {

constexpr bool IsSeparator(char c) {
  return c == '\\' || c == '/';
}

constexpr std::array<std::string_view, 6> DEVICES{"CON", "PRN", "AUX", "NUL", "CONIN$", "CONOUT$"};
constexpr std::array<std::string_view, 2> NUMBERED_DEVICES{"COM", "LPT"};

// Windows takes such a name for a device in every directory and with every extension.
bool IsDevice(std::string_view part) {
  std::string_view stem = part.substr(0, part.find('.'));
  while (!stem.empty() && stem.back() == ' ')
    stem.remove_suffix(1);
  const std::string name = text::AsciiUpper(stem);
  if (std::find(DEVICES.begin(), DEVICES.end(), name) != DEVICES.end()) return true;
  return name.size() == 4 && name[3] >= '1' && name[3] <= '9' &&
         std::find(NUMBERED_DEVICES.begin(), NUMBERED_DEVICES.end(), name.substr(0, 3)) !=
             NUMBERED_DEVICES.end();
}

bool IsUsablePart(std::string_view part) {
  return part.find(':') == std::string_view::npos && part.find('\0') == std::string_view::npos &&
         !IsDevice(part);
}

// Takes the part up to the next separator, and that separator, off `path`.
std::string_view TakePart(std::string_view& path) {
  std::size_t end = 0;
  while (end < path.size() && !IsSeparator(path[end]))
    end += text::IsLeadByte(static_cast<unsigned char>(path[end])) ? 2 : 1;
  const std::string_view part = path.substr(0, end);
  path.remove_prefix(std::min(path.size(), end + 1));
  return part;
}

// The server and the share of a path that begins with "\\". "." and "?" are no servers: what
// follows them is a device, or a path that no rule of names holds for.
bool ParseNetworkStart(std::string_view& path, WindowsPath& result) {
  path.remove_prefix(2);
  result.start = PathStart::Network;
  for (std::string* const name : {&result.server, &result.share}) {
    *name = TakePart(path);
    if (name->empty() || *name == "." || *name == ".." || *name == "?" || !IsUsablePart(*name)) {
      return false;
    }
  }
  return true;
}

// Takes the path's start off `path`. False when nothing can be opened under it.
bool ParseStart(std::string_view& path, WindowsPath& result) {
  if (path.size() >= 2 && path[1] == ':' && text::IsAsciiLetter(path[0])) {
    result.start = PathStart::Drive;
    result.drive = text::AsciiUpper(path[0]);
    path.remove_prefix(2);
    return !path.empty() && IsSeparator(path[0]);
  }
  if (path.empty()) return false;
  if (path.starts_with("\\\\") || path.starts_with("\\/")) return ParseNetworkStart(path, result);
  result.start = IsSeparator(path[0]) ? PathStart::Root : PathStart::Relative;
  return true;
}

}  // namespace

std::optional<WindowsPath> ParseWindowsPath(std::string_view path) {
  WindowsPath result;
  if (!ParseStart(path, result)) return std::nullopt;
  while (!path.empty()) {
    const std::string_view part = TakePart(path);
    if (part.empty() || part == ".") continue;
    if (part != "..") {
      if (!IsUsablePart(part)) return std::nullopt;
      result.parts.emplace_back(part);
    } else if (!result.parts.empty()) {
      result.parts.pop_back();
    } else if (result.start == PathStart::Relative) {
      ++result.levelsUp;
    } else {
      return std::nullopt;
    }
  }
  return result;
}

}  // namespace nimport::platform
