#include "platform/stored_path.h"

#include <algorithm>
#include <optional>

#include "common/file_error.h"
#include "text/letter_case.h"

namespace nimport::platform {
namespace {

bool IsSameName(const std::string& a, const std::string& b, const text::CodePageConverter& text) {
  return a == b || text::FoldCase(text.ToUtf16(a, text::CODE_PAGE_JAPANESE)) ==
                       text::FoldCase(text.ToUtf16(b, text::CODE_PAGE_JAPANESE));
}

bool HasSameStart(const WindowsPath& a, const WindowsPath& b, const text::CodePageConverter& text) {
  return a.start == b.start && a.drive == b.drive && a.levelsUp == b.levelsUp &&
         IsSameName(a.server, b.server, text) && IsSameName(a.share, b.share, text);
}

bool IsBeneath(const WindowsPath& path, const WindowsPath& directory,
               const text::CodePageConverter& text) {
  // A store at the root of this machine would make all of it the store's.
  if (directory.start == PathStart::Root && directory.parts.empty()) return false;
  return HasSameStart(path, directory, text) && path.parts.size() >= directory.parts.size() &&
         std::equal(
             directory.parts.begin(), directory.parts.end(), path.parts.begin(),
             [&](const std::string& a, const std::string& b) { return IsSameName(a, b, text); });
}

bool NamesVolume(const WindowsPath& path) {
  return path.start == PathStart::Drive || path.start == PathStart::Network;
}

}  // namespace

StoredTarget ParseStoredPath(const StoredPath& stored, const text::CodePageConverter& text) {
  const auto refuse = [&](const char* why) {
    throw FileMissing(DisplayPath(stored.path, text), why);
  };
  std::optional<WindowsPath> path = ParseWindowsPath(stored.path);
  if (!path) refuse("is no path of a file: a device, a stream, or above the root");
  // The settings may name a drive's root without its separator.
  const std::optional<WindowsPath> directory = ParseWindowsPath(stored.storeDirectory + '\\');
  StoredTarget target;
  target.isInStore = directory && IsBeneath(*path, *directory, text);
  if (path->start == PathStart::Root && directory && NamesVolume(*directory)) {
    path->start = directory->start;
    path->drive = directory->drive;
    path->server = directory->server;
    path->share = directory->share;
  }
  target.isOnStoresDrive = directory && HasSameStart(*path, *directory, text);
  if (!target.isInStore && !NamesVolume(*path)) refuse("names no drive");
  if (!target.isOnStoresDrive && path->start == PathStart::Network) {
    refuse("lies on a network share that is not the store's");
  }
  target.path = *std::move(path);
  return target;
}

std::string DisplayPath(std::string_view path, const text::CodePageConverter& text) {
  return text.FromUtf16(text.ToUtf16(path, text::CODE_PAGE_JAPANESE), text::CODE_PAGE_UTF8);
}

}  // namespace nimport::platform
