// The names at the top of an archive: cabinets, and the files beside them.
#ifndef NIMPORT_ARCHIVE_ARCHIVE_NAMES_H_
#define NIMPORT_ARCHIVE_ARCHIVE_NAMES_H_

#include <filesystem>
#include <string_view>
#include <vector>

#include "archive/safe_name.h"

namespace nimport::archive {

// Gives each directory at the top of an archive its name.
class ArchiveNames {
 public:
  // Names of the files that stand there are taken.
  ArchiveNames();

  // A directory of its own for a cabinet, or for what has no cabinet. `name` is UTF-8.
  [[nodiscard]] std::filesystem::path TakeCabinet(std::string_view name);

  // Those that were given, in order.
  [[nodiscard]] const std::vector<std::filesystem::path>& cabinets() const { return cabinets_; }

 private:
  UniqueNames taken_;
  std::vector<std::filesystem::path> cabinets_;
};

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_ARCHIVE_NAMES_H_
