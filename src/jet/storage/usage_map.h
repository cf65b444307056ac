#ifndef NIMPORT_JET_STORAGE_USAGE_MAP_H_
#define NIMPORT_JET_STORAGE_USAGE_MAP_H_

#include <cstdint>
#include <optional>
#include <vector>

#include "jet/format/jet_layout.h"

namespace nimport::jet {

class PageFile;

// The pages that a usage map names.
struct UsedPages {
  std::vector<std::uint32_t> pages;           // in the file, ascending
  std::optional<std::uint32_t> firstOutside;  // the first one beyond the end of the file
};

// `owner` is what the map's page names as its owner. Throws DatabaseError, naming the page where
// the map or a part of it should be, when it cannot be read.
[[nodiscard]] UsedPages ReadUsageMap(PageFile& file, RowId map,
                                     std::uint32_t owner = OWNER_USAGE_MAPS);

}  // namespace nimport::jet

#endif  // NIMPORT_JET_STORAGE_USAGE_MAP_H_
