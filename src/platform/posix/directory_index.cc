#include "platform/posix/directory_index.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <tuple>

#include <dirent.h>
#include <time.h>

#include "text/letter_case.h"

namespace nimport::platform::posix {
namespace {

// Enough for the directories on the way to a store and the few that it keeps its files in.
constexpr std::size_t MAX_DIRECTORIES = 16;

// A directory that changed less than this before it was read may change again without its time
// stamp showing it: old file systems count in steps of two seconds.
constexpr time_t SETTLED_AFTER_SECONDS = 3;

bool IsSameState(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_mtim.tv_sec == b.st_mtim.tv_sec &&
         a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

std::uint64_t HashOf(std::u16string_view text) {
  return std::hash<std::u16string_view>()(text);
}

}  // namespace

std::u16string DirectoryIndex::FoldName(std::string_view nativeName) const {
  if (const auto utf16 = text_.ToUtf16Strict(nativeName, text::CODE_PAGE_UTF8))
    return text::FoldCase(*utf16);
  return text::FoldCase(text_.ToUtf16(nativeName, text::CODE_PAGE_JAPANESE));
}

std::optional<DirectoryIndex::Directory> DirectoryIndex::Read(const std::string& path) const {
  const std::unique_ptr<DIR, int (*)(DIR*)> stream(opendir(path.c_str()), closedir);
  Directory directory;
  directory.path = path;
  if (!stream || fstat(dirfd(stream.get()), &directory.status) != 0) return std::nullopt;
  directory.isSettled = time(nullptr) - directory.status.st_mtim.tv_sec >= SETTLED_AFTER_SECONDS;
  while (const dirent* entry = readdir(stream.get())) {
    const std::string_view name = entry->d_name;
    directory.entries.push_back({HashOf(FoldName(name)), directory.names.size()});
    directory.names.append(name).push_back('\0');
  }
  const auto keyOf = [&](const Entry& entry) {
    return std::tuple(entry.hash, std::string_view(directory.names.c_str() + entry.position));
  };
  std::sort(directory.entries.begin(), directory.entries.end(),
            [&](const Entry& a, const Entry& b) { return keyOf(a) < keyOf(b); });
  return directory;
}

const DirectoryIndex::Directory* DirectoryIndex::Get(const std::string& path) {
  const auto known = std::find_if(directories_.begin(), directories_.end(),
                                  [&](const Directory& entry) { return entry.path == path; });
  if (known != directories_.end()) {
    struct stat now {};
    if (known->isSettled && stat(path.c_str(), &now) == 0 && IsSameState(now, known->status)) {
      directories_.splice(directories_.begin(), directories_, known);
      return &directories_.front();
    }
    directories_.erase(known);
  }
  std::optional<Directory> fresh = Read(path);
  if (!fresh) return nullptr;
  if (directories_.size() >= MAX_DIRECTORIES) directories_.pop_back();
  directories_.push_front(*std::move(fresh));
  return &directories_.front();
}

std::optional<std::string> DirectoryIndex::Find(const std::string& directory,
                                                std::u16string_view name) {
  const std::u16string folded = text::FoldCase(name);
  const std::uint64_t hash = HashOf(folded);
  const std::lock_guard lock(mutex_);
  const Directory* known = Get(directory);
  if (known == nullptr) return std::nullopt;
  auto entry = std::lower_bound(known->entries.begin(), known->entries.end(), hash,
                                [](const Entry& a, std::uint64_t value) { return a.hash < value; });
  for (; entry != known->entries.end() && entry->hash == hash; ++entry) {
    const char* nativeName = known->names.c_str() + entry->position;
    if (FoldName(nativeName) == folded) return nativeName;
  }
  return std::nullopt;
}

}  // namespace nimport::platform::posix
