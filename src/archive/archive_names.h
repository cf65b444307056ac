// The names at the top of an archive: cabinets, and the files beside them.
#ifndef NIMPORT_ARCHIVE_ARCHIVE_NAMES_H_
#define NIMPORT_ARCHIVE_ARCHIVE_NAMES_H_

#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "archive/safe_name.h"

namespace nimport::archive {

// Directories by the names that were asked for, and which of those with that name each one is.
using KnownDirectories = std::map<std::pair<std::string, int>, std::string>;

// Gives each directory and file at the top of an archive its name. Those of a second store that was
// added end with " (2)" and so on.
class ArchiveNames {
 public:
  // `known` are the directories that the store has from earlier runs, `taken` those of others.
  explicit ArchiveNames(int storeNumber = 1, KnownDirectories known = {},
                        const std::vector<std::string>& taken = {});

  // A directory of its own for a cabinet, or for what has no cabinet. `name` is UTF-8.
  [[nodiscard]] std::filesystem::path TakeCabinet(std::string_view name);

  // Those that were given, in order.
  [[nodiscard]] const std::vector<std::filesystem::path>& cabinets() const { return cabinets_; }

  // With those of earlier runs.
  [[nodiscard]] const KnownDirectories& directories() const { return known_; }

  // "account (2).json" for "account.json", where the store is the second one. A name has an
  // extension.
  [[nodiscard]] std::string FileName(const std::string& name) const;

 private:
  [[nodiscard]] std::string Numbered(const std::string& name) const;

  int storeNumber_;
  KnownDirectories known_;
  UniqueNames taken_;
  std::map<std::string, int> counts_;  // of each name that was asked for
  std::vector<std::filesystem::path> cabinets_;
};

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_ARCHIVE_NAMES_H_
