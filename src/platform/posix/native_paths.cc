#include "platform/posix/native_paths.h"

#include <algorithm>
#include <utility>
#include <vector>

#include <sys/stat.h>

#include "common/file_error.h"
#include "platform/formats/windows_path.h"
#include "platform/posix/real_path.h"
#include "platform/posix/wine_prefix.h"
#include "text/ascii.h"

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

bool IsSameFile(const std::string& a, const std::string& b) {
  struct stat statusA {};
  struct stat statusB {};
  return stat(a.c_str(), &statusA) == 0 && stat(b.c_str(), &statusB) == 0 &&
         statusA.st_dev == statusB.st_dev && statusA.st_ino == statusB.st_ino;
}

}  // namespace

NativePaths::NativePaths(Settings settings, const text::CodePageConverter& text)
    : settings_(std::move(settings)), text_(text), directories_(text) {}

std::optional<std::string> NativePaths::FindWineDrive(char letter) const {
  const std::optional<std::string> prefix = FindWinePrefix(settings_);
  if (!prefix) return std::nullopt;
  std::string device = *prefix + "/dosdevices/" + static_cast<char>(letter - 'A' + 'a') + ":";
  if (!IsThere(device)) return std::nullopt;
  return device;
}

std::optional<std::string> NativePaths::FindMappedDrive(char letter) const {
  std::optional<std::string> mapped = ReadDrive(settings_, letter);
  return mapped ? mapped : FindWineDrive(letter);
}

std::optional<std::string> NativePaths::FindDrive(char letter) const {
  std::optional<std::string> mapped = FindMappedDrive(letter);
  if (!mapped && letter == 'Z') return "/";
  return mapped;
}

void NativePaths::Append(NativePath& path, const std::string& part) const {
  if (!path.name.empty()) path.directory = WithSlash(path.str());
  path.name = ToNativeName(part).value_or("");
}

void NativePaths::Descend(NativePath& path, const std::string& part) const {
  Append(path, part);
  if (!path.exists || IsThere(path.str())) return;
  std::optional<std::string> found =
      directories_.Find(path.directory, text_.ToUtf16(part, text::CODE_PAGE_JAPANESE));
  path.exists = found.has_value();
  if (found) path.name = *std::move(found);
}

std::optional<std::string> NativePaths::FindStart(const WindowsPath& path) const {
  if (path.start == PathStart::Network) return std::nullopt;
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
  if (text::IsAscii(part)) return part;
  const std::optional<std::u16string> utf16 = text_.ToUtf16Strict(part, text::CODE_PAGE_JAPANESE);
  if (!utf16) return std::nullopt;
  return text_.FromUtf16(*utf16, text::CODE_PAGE_UTF8);
}

std::optional<NativePath> NativePaths::ToLiteral(const WindowsPath& path) const {
  std::optional<std::string> start = FindStart(path);
  if (!start) return std::nullopt;
  NativePath literal{.directory = *std::move(start), .name = {}, .exists = false};
  for (std::size_t i = 0; i < path.parts.size(); ++i) {
    std::optional<std::string> name = ToNativeName(path.parts[i]);
    if (!name) return std::nullopt;
    if (i + 1 == path.parts.size()) {
      literal.name = *std::move(name);
    } else {
      literal.directory.append(*name) += '/';
    }
  }
  return literal;
}

std::optional<std::string> NativePaths::LiteralPath(std::string_view path) const {
  const std::optional<WindowsPath> parsed = ParseWindowsPath(path);
  const std::optional<NativePath> literal = parsed ? ToLiteral(*parsed) : std::nullopt;
  if (!literal) return std::nullopt;
  return literal->str();
}

std::optional<NativePath> NativePaths::Resolve(const WindowsPath& path, bool lastAsSpelt) const {
  // Most paths are there as written, and one look tells.
  std::optional<NativePath> literal = ToLiteral(path);
  if (!literal) return std::nullopt;
  literal->exists = IsThere(literal->str());
  if (literal->exists) return literal;

  NativePath result;
  result.directory = FindStart(path).value_or("/");
  result.exists = IsThere(result.directory);
  const std::vector<std::string>& parts = path.parts;
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
  const std::optional<WindowsPath> parsed = ParseWindowsPath(path);
  return parsed ? Resolve(*parsed, false) : std::nullopt;
}

std::optional<NativePath> NativePaths::FindParent(std::string_view path) const {
  const std::optional<WindowsPath> parsed = ParseWindowsPath(path);
  return parsed ? Resolve(*parsed, true) : std::nullopt;
}

std::string NativePaths::ExplainUnusable(std::string_view path) const {
  const std::optional<WindowsPath> parsed = ParseWindowsPath(path);
  if (!parsed) return "is not a path that can be opened";
  if (parsed->start == PathStart::Network) {
    return "network paths cannot be opened here; NIMPORT_DRIVES maps drives to directories";
  }
  if (!FindStart(*parsed)) return "no directory is given for drive " + std::string{parsed->drive};
  return "is no text of code page 932";
}

std::vector<std::string> NativePaths::FindRoots(const StoredPath& stored,
                                                const StoredTarget& target) const {
  std::vector<std::string> roots;
  const bool isOnDrive = target.path.start == PathStart::Drive;
  if (isOnDrive) {
    if (auto drive = ReadDrive(settings_, target.path.drive)) roots.push_back(*std::move(drive));
  }
  // Wine's drives are mostly this machine: only the one that holds the store is the store's, unless
  // that is the machine's root, as Wine's drive Z is.
  if (isOnDrive && roots.empty() && target.isOnStoresDrive) {
    if (auto drive = FindWineDrive(target.path.drive); drive && FindRealPath(*drive) != "/") {
      roots.push_back(*std::move(drive));
    }
  }
  if (target.isInStore) {
    const std::optional<NativePath> directory = Find(stored.storeDirectory + '\\');
    if (directory) roots.push_back(directory->str());
  }
  if (roots.empty()) return roots;
  for (auto& [letter, directory] : ReadDrives(settings_))
    roots.push_back(std::move(directory));
  return roots;
}

StoredPlace NativePaths::FindStored(const StoredPath& stored) const {
  const StoredTarget target = ParseStoredPath(stored, text_);
  StoredPlace place;
  bool isAllowed = target.isInStore;
  if (ReadIsConfined(settings_)) {
    place.roots = FindRoots(stored, target);
    isAllowed = !place.roots.empty();
  } else if (target.path.start == PathStart::Drive) {
    isAllowed = isAllowed || FindMappedDrive(target.path.drive);
  }
  const std::optional<NativePath> native =
      isAllowed ? Resolve(target.path, false) : std::optional<NativePath>();
  if (native) {
    place.path = native->str();
    return place;
  }
  throw FileMissing(DisplayPath(stored.path, text_),
                    isAllowed
                        ? ExplainUnusable(stored.path)
                        : "no directory is given for drive " + std::string{target.path.drive});
}

std::optional<std::string> NativePaths::ToWindowsBelow(const std::string& start,
                                                       std::u16string_view below,
                                                       const std::string& nativeDirectory) const {
  std::string path = start + text_.FromUtf16(below, text::CODE_PAGE_JAPANESE);
  // A name that code page 932 does not have, or that Windows does not allow, leads elsewhere.
  const std::optional<NativePath> back = Find(path);
  if (!back || !back->exists || !IsSameFile(back->str(), nativeDirectory)) return std::nullopt;
  return path;
}

std::optional<std::string> NativePaths::ToWindowsOnDrive(const std::string& nativeDirectory,
                                                         char letter) const {
  const std::optional<std::string> drive = FindDrive(letter);
  const std::optional<std::string> root = drive ? FindRealPath(*drive) : std::nullopt;
  if (!root || !nativeDirectory.starts_with(WithSlash(*root))) return std::nullopt;
  std::u16string below =
      text_.ToUtf16(nativeDirectory.substr(WithSlash(*root).size()), text::CODE_PAGE_UTF8);
  std::ranges::replace(below, u'/', u'\\');
  return ToWindowsBelow(std::string{letter, ':', '\\'}, below, nativeDirectory);
}

std::optional<std::string> NativePaths::ToWindows(const std::string& nativeDirectory) const {
  const std::optional<std::string> real = FindRealPath(nativeDirectory);
  if (!real) return std::nullopt;
  for (char letter = 'Z'; letter >= 'A'; --letter) {
    if (std::optional<std::string> path = ToWindowsOnDrive(*real, letter)) return path;
  }
  return ToWindowsBelow("", text_.ToUtf16(*real, text::CODE_PAGE_UTF8), *real);
}

}  // namespace nimport::platform::posix
