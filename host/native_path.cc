#include "host/native_path.h"

#include <cctype>
#include <optional>
#include <system_error>

#include <stdlib.h>

#include "host/text.h"

namespace nimport::host {

namespace {

namespace fs = std::filesystem;

char Capital(char letter) {
  return static_cast<char>(std::toupper(static_cast<unsigned char>(letter)));
}

bool IsLetter(char character) {
  return std::isalpha(static_cast<unsigned char>(character)) != 0;
}

bool IsSeparator(char character) {
  return character == '\\' || character == '/';
}

// Small letters for ASCII and for the full-width Latin letters.
std::u16string FoldCase(std::string_view text) {
  std::u16string folded = Utf8ToUtf16(text);
  for (char16_t& unit : folded) {
    const bool isCapital =
        (unit >= u'A' && unit <= u'Z') || (unit >= u'\uFF21' && unit <= u'\uFF3A');
    if (isCapital) unit = static_cast<char16_t>(unit + 0x20);
  }
  return folded;
}

// `name` in `directory`, as it is spelt there.
fs::path FindEntry(const fs::path& directory, const std::string& name) {
  std::error_code error;
  fs::path exact = directory / name;
  if (fs::exists(fs::symlink_status(exact, error))) return exact;
  const std::u16string wanted = FoldCase(name);
  for (fs::directory_iterator entry(directory, error), end; !error && entry != end;
       entry.increment(error)) {
    if (FoldCase(entry->path().filename().string()) == wanted) return entry->path();
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
  const char small = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
  const fs::path wineDrive = WinePrefix() / "dosdevices" / (std::string(1, small) + ":");
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
    if (!IsLetter(entry[0]) || equals + 1 == entry.size()) continue;
    drives.insert_or_assign(Capital(entry[0]), fs::path(entry.substr(equals + 1)));
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
  const bool hasDrive = path.size() >= 2 && IsLetter(path[0]) && path[1] == ':';
  if (!hasDrive) {
    if (path.starts_with('/')) return WalkParts("/", path.substr(1));
    return {};
  }
  const std::optional<fs::path> drive = FindDrive(Capital(path[0]));
  return drive ? WalkParts(*drive, path.substr(2)) : fs::path();
}

}  // namespace nimport::host
