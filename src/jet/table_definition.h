#ifndef NIMPORT_JET_TABLE_DEFINITION_H_
#define NIMPORT_JET_TABLE_DEFINITION_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "jet/data_page.h"
#include "jet/page_file.h"
#include "jet/table.h"
#include "jet/text_decoder.h"

namespace nimport::jet {

// What the pages of a table's definition say.
struct StoredDefinition {
  std::uint32_t page = 0;          // the first one: what the table's data pages name as their owner
  std::uint32_t rowCountHint = 0;  // not dependable
  RowPointer ownedPagesMap;
  std::size_t columnHighWater = 0;  // above all ids, those of deleted columns too
  std::vector<Column> columns;      // by id
};

// Reads the definition that begins on `pageNumber`. `names` decodes to UTF-8. Throws DatabaseError,
// naming the page, for anything in it that cannot be.
[[nodiscard]] StoredDefinition ReadTableDefinition(PageFile& file, std::uint32_t pageNumber,
                                                   const TextDecoder& names);

}  // namespace nimport::jet

#endif  // NIMPORT_JET_TABLE_DEFINITION_H_
