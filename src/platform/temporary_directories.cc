#include "platform/temporary_directories.h"

#include <algorithm>

#include "common/file_error.h"
#include "text/code_page_932.h"

namespace nimport::platform {
namespace {

// Whether `path` names something in `directory` itself.
bool IsDirectlyIn(std::string_view directory, std::string_view path) {
  if (!path.starts_with(directory) || path.size() < directory.size() + 2) return false;
  const char separator = path[directory.size()];
  const std::string_view name = path.substr(directory.size() + 1);
  return (separator == '\\' || separator == '/') && name.find('/') == std::string_view::npos &&
         text::FindLastCharacter(name, '\\') == std::string_view::npos;
}

}  // namespace

std::vector<std::string> ParseListedNames(std::string_view contents) {
  constexpr std::string_view LEADING_ELSEWHERE = "/\\:";
  std::vector<std::string> names;
  for (std::size_t end; (end = contents.find('\0')) != std::string_view::npos;) {
    const std::string_view name = contents.substr(0, end);
    const bool isName = !name.empty() && name != "." && name != "..";
    if (isName && name.find_first_of(LEADING_ELSEWHERE) == std::string_view::npos) {
      names.emplace_back(name);
    }
    contents.remove_prefix(end + 1);
  }
  return names;
}

TemporaryDirectories::Made TemporaryDirectories::MakeIn(const std::string& place) {
  std::unique_ptr<PrivateDirectory> directory = MakePrivateDirectory(place);
  std::string path = toWindowsPath_(directory->path());
  return {.path = std::move(path), .directory = std::move(directory)};
}

std::string TemporaryDirectories::Make() {
  const std::lock_guard lock(mutex_);
  std::string reasons;
  for (const std::string& place : FindTemporaryPlaces(settings_)) {
    try {
      Made made = MakeIn(place);
      std::string path = made.path;
      made_.push_back(std::move(made));
      if (!std::exchange(hasLookedForLeftovers_, true)) RemoveLeftoverDirectories(place);
      return path;
    } catch (const FileError& error) {
      reasons.append(reasons.empty() ? "" : "; ").append(error.what());
    }
  }
  throw FileError("no directory for temporary files: " + reasons);
}

void TemporaryDirectories::List(std::string_view path, const std::string& name) {
  const std::lock_guard lock(mutex_);
  const auto made = std::ranges::find_if(
      made_, [&](const Made& candidate) { return IsDirectlyIn(candidate.path, path); });
  if (made != made_.end()) made->directory->List(name);
}

void TemporaryDirectories::Remove(std::string_view path) noexcept {
  const std::lock_guard lock(mutex_);
  const auto made = std::ranges::find(made_, path, &Made::path);
  if (made != made_.end()) made_.erase(made);
}

}  // namespace nimport::platform
