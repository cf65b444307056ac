#include "host/native_path.h"

#include <optional>
#include <system_error>

#include <stdlib.h>

#include "text/ascii.h"
#include "text/letter_case.h"
#include "text/utf16.h"

namespace nimport::host {

namespace {

namespace fs = std::filesystem;

bool IsSeparator(char character) {
  return character == '\\' || character == '/';
}

std::u16string FoldedName(std::string_view name) {
  return text::FoldCase(text::Utf16FromUtf8(name));
}

// `name` in `directory`, as it is spelt there.
fs::path FindEntry(const fs::path& directory, const std::string& name) {
  std::error_code error;
  fs::path exact = directory / name;
  if (fs::exists(fs::symlink_status(exact, error))) return exact;
  const std::u16string wanted = FoldedName(name);
  for (fs::directory_iterator entry(directory, error), end; !error && entry != end;
       entry.increment(error)) {
    if (FoldedName(entry->path().filename().string()) == wanted) return entry->path();
  }
  return exact;
}

fs::path WalkParts(fs::path path, std::string_view rest) {
  while (!rest.empty()) {
    std::size_t end = 0;
    while (end < rest.size() && !IsSeparator(rest[end]))
      ++end;
    if (end > 0) path = FindEntry(path, std::string(rest.substr(0, end)));
    rest.remove_prefix(end < rest.size() ? end + 1 : end);
  }
  return path;
}

std::optional<fs::path> FindDrive(char letter) {
  if (const char* text = secure_getenv("NIMPORT_DRIVES"); text != nullptr) {
    const DriveMap drives = ParseDriveMap(text);
    if (const auto found = drives.find(letter); found != drives.end()) return found->second;
  }
  const fs::path wineDrive =
      WinePrefix() / "dosdevices" / (std::string(1, text::AsciiLower(letter)) + ":");
  std::error_code error;
  if (fs::exists(wineDrive, error)) return wineDrive;
  if (letter == 'Z') return fs::path("/");
  return std::nullopt;
}

}  // namespace

fs::path WinePrefix() {
  if (const char* prefix = secure_getenv("WINEPREFIX"); prefix != nullptr && *prefix != '\0') {
    return prefix;
  }
  const char* home = secure_getenv("HOME");
  return home == nullptr ? fs::path() : fs::path(home) / ".wine";
}

DriveMap ParseDriveMap(std::string_view text) {
  DriveMap drives;
  while (!text.empty()) {
    const std::string_view entry = text.substr(0, text.find(';'));
    text.remove_prefix(entry.size() < text.size() ? entry.size() + 1 : entry.size());
    std::size_t equals = entry.find('=');
    const bool hasColon = equals == 2 && entry[1] == ':';
    if (equals == std::string_view::npos || (equals != 1 && !hasColon)) continue;
    if (!text::IsAsciiLetter(entry[0]) || equals + 1 == entry.size()) continue;
    drives.insert_or_assign(text::AsciiUpper(entry[0]), fs::path(entry.substr(equals + 1)));
  }
  return drives;
}

std::string ToText(const DriveMap& drives) {
  std::string text;
  for (const auto& [letter, directory] : drives) {
    if (!text.empty()) text += ';';
    text += std::string(1, letter) + '=' + directory.string();
  }
  return text;
}

fs::path NativePath(std::string_view path) {
  const bool hasDrive = path.size() >= 2 && text::IsAsciiLetter(path[0]) && path[1] == ':';
  if (!hasDrive) {
    if (path.starts_with('/')) return WalkParts("/", path.substr(1));
    return {};
  }
  const std::optional<fs::path> drive = FindDrive(text::AsciiUpper(path[0]));
  return drive ? WalkParts(*drive, path.substr(2)) : fs::path();
}

}  // namespace nimport::host
