#ifndef NIMPORT_PLATFORM_POSIX_DIRECTORY_INDEX_H_
#define NIMPORT_PLATFORM_POSIX_DIRECTORY_INDEX_H_

#include <cstdint>
#include <list>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <sys/stat.h>

#include "text/code_page_converter.h"

namespace nimport::platform::posix {

// Finds names in directories without regard to letter case. Remembers the directories asked for
// last, each as long as it is unchanged, so that a folder of 100,000 mails is not read for every
// mail. Safe to use from several threads.
class DirectoryIndex {
 public:
  explicit DirectoryIndex(const text::CodePageConverter& text) : text_(text) {}

  // The name, as the directory spells it, that equals `name` but for letter case. Of several, the
  // first in the order of their bytes. A name in the directory that is not UTF-8 is taken for code
  // page 932, as unpacking an old archive leaves it behind.
  [[nodiscard]] std::optional<std::string> Find(const std::string& directory,
                                                std::u16string_view name);

 private:
  struct Entry {
    std::uint64_t hash;    // of the folded name
    std::size_t position;  // of the name in `names`
  };
  struct Directory {
    std::string path;
    struct stat status {};
    bool isSettled = false;      // whether a later change is sure to alter `status`
    std::string names;           // each with a NUL after it
    std::vector<Entry> entries;  // by hash, then by name
  };

  [[nodiscard]] const Directory* Get(const std::string& path);
  [[nodiscard]] std::optional<Directory> Read(const std::string& path) const;
  [[nodiscard]] std::u16string FoldName(std::string_view nativeName) const;

  const text::CodePageConverter& text_;
  std::mutex mutex_;
  std::list<Directory> directories_;  // the one used last comes first
};

}  // namespace nimport::platform::posix

#endif  // NIMPORT_PLATFORM_POSIX_DIRECTORY_INDEX_H_
