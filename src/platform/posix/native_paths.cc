#include "platform/posix/native_paths.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <utility>
#include <vector>

#include <sys/stat.h>

#include "platform/posix/wine_prefix.h"
#include "platform/windows_path.h"

namespace nimport::platform::posix {
namespace {

bool IsThere(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0;
}

std::string WithSlash(std::string directory) {
  if (!directory.ends_with('/')) directory += '/';
  return directory;
}

// Without symbolic links, so that two spellings of a directory compare.
std::optional<std::string> RealPath(const std::string& path) {
  const std::unique_ptr<char, void (*)(void*)> real(realpath(path.c_str(), nullptr), std::free);
  if (!real) return std::nullopt;
  return std::string(real.get());
}

bool IsSameFile(const std::string& a, const std::string& b) {
  struct stat statusA {};
  struct stat statusB {};
  return stat(a.c_str(), &statusA) == 0 && stat(b.c_str(), &statusB) == 0 &&
         statusA.st_dev == statusB.st_dev && statusA.st_ino == statusB.st_ino;
}

}  // namespace

NativePaths::NativePaths(Settings settings, const TextConverter& text)
    : settings_(std::move(settings)), text_(text), directories_(text) {}

std::optional<std::string> NativePaths::FindDrive(char letter) const {
  if (std::optional<std::string> mapped = ReadDrive(settings_, letter)) return mapped;
  if (const std::optional<std::string> prefix = FindWinePrefix(settings_)) {
    std::string device = *prefix + "/dosdevices/" + static_cast<char>(letter - 'A' + 'a') + ":";
    if (IsThere(device)) return device;
  }
  if (letter == 'Z') return "/";
  return std::nullopt;
}

void NativePaths::Append(NativePath& path, const std::string& part) const {
  if (!path.name.empty()) path.directory = WithSlash(path.str());
  path.name = ToNativeName(part).value_or("");
}

void NativePaths::Descend(NativePath& path, const std::string& part) const {
  Append(path, part);
  if (!path.exists || IsThere(path.str())) return;
  std::optional<std::string> found =
      directories_.Find(path.directory, text_.ToUtf16(part, CODE_PAGE_JAPANESE));
  path.exists = found.has_value();
  if (found) path.name = *std::move(found);
}

std::optional<std::string> NativePaths::FindStart(const WindowsPath& path) const {
  if (path.start == PathStart::Root) return "/";
  if (path.start == PathStart::Drive) {
    std::optional<std::string> root = FindDrive(path.drive);
    if (!root) return std::nullopt;
    return WithSlash(*std::move(root));
  }
  std::string start = "./";
  for (unsigned i = 0; i < path.levelsUp; ++i)
    start += "../";
  return start;
}

std::optional<std::string> NativePaths::ToNativeName(const std::string& part) const {
  const bool isAscii = std::ranges::all_of(part, [](char c) { return (c & 0x80) == 0; });
  if (isAscii) return part;
  const std::optional<std::u16string> utf16 = text_.ToUtf16Strict(part, CODE_PAGE_JAPANESE);
  if (!utf16) return std::nullopt;
  return text_.FromUtf16(*utf16, CODE_PAGE_UTF8);
}

std::optional<NativePath> NativePaths::Spell(const WindowsPath& path) const {
  std::optional<std::string> start = FindStart(path);
  if (!start) return std::nullopt;
  NativePath spelt{.directory = *std::move(start), .name = {}, .exists = false};
  for (std::size_t i = 0; i < path.parts.size(); ++i) {
    std::optional<std::string> name = ToNativeName(path.parts[i]);
    if (!name) return std::nullopt;
    if (i + 1 == path.parts.size()) {
      spelt.name = *std::move(name);
    } else {
      spelt.directory.append(*name) += '/';
    }
  }
  return spelt;
}

std::optional<std::string> NativePaths::SpellOnly(std::string_view path) const {
  const std::optional<WindowsPath> parsed = ParseWindowsPath(path);
  const std::optional<NativePath> spelt = parsed ? Spell(*parsed) : std::nullopt;
  if (!spelt) return std::nullopt;
  return spelt->str();
}

std::optional<NativePath> NativePaths::Resolve(std::string_view path, bool lastAsSpelt) const {
  const std::optional<WindowsPath> parsed = ParseWindowsPath(path);
  if (!parsed) return std::nullopt;
  // Most paths are there as spelt, and one look tells.
  std::optional<NativePath> spelt = Spell(*parsed);
  if (!spelt) return std::nullopt;
  spelt->exists = IsThere(spelt->str());
  if (spelt->exists) return spelt;

  NativePath result;
  result.directory = FindStart(*parsed).value_or("/");
  result.exists = IsThere(result.directory);
  const std::vector<std::string>& parts = parsed->parts;
  const std::size_t searched = lastAsSpelt && !parts.empty() ? parts.size() - 1 : parts.size();
  for (std::size_t i = 0; i < searched; ++i)
    Descend(result, parts[i]);
  if (searched < parts.size()) {
    Append(result, parts.back());
    result.exists = result.exists && IsThere(result.str());
  }
  return result;
}

std::optional<NativePath> NativePaths::Find(std::string_view path) const {
  return Resolve(path, false);
}

std::optional<NativePath> NativePaths::FindParent(std::string_view path) const {
  return Resolve(path, true);
}

std::optional<std::string> NativePaths::ToWindowsOnDrive(const std::string& nativeDirectory,
                                                         char letter) const {
  const std::optional<std::string> drive = FindDrive(letter);
  const std::optional<std::string> root = drive ? RealPath(*drive) : std::nullopt;
  if (!root || !nativeDirectory.starts_with(WithSlash(*root))) return std::nullopt;
  std::u16string below =
      text_.ToUtf16(nativeDirectory.substr(WithSlash(*root).size()), CODE_PAGE_UTF8);
  for (char16_t& unit : below) {
    if (unit == u'/') unit = u'\\';
  }
  std::string path = std::string{letter, ':', '\\'} + text_.FromUtf16(below, CODE_PAGE_JAPANESE);
  // A name that code page 932 does not have, or that Windows does not allow, leads elsewhere.
  const std::optional<NativePath> back = Find(path);
  if (!back || !back->exists || !IsSameFile(back->str(), nativeDirectory)) return std::nullopt;
  return path;
}

std::optional<std::string> NativePaths::ToWindows(const std::string& nativeDirectory) const {
  const std::optional<std::string> real = RealPath(nativeDirectory);
  if (!real) return std::nullopt;
  for (char letter = 'Z'; letter >= 'A'; --letter) {
    if (std::optional<std::string> path = ToWindowsOnDrive(*real, letter)) return path;
  }
  return std::nullopt;
}

}  // namespace nimport::platform::posix
