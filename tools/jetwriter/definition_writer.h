#ifndef NIMPORT_TOOLS_JETWRITER_DEFINITION_WRITER_H_
#define NIMPORT_TOOLS_JETWRITER_DEFINITION_WRITER_H_

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "jetwriter/row_encoder.h"
#include "jetwriter/writer_context.h"

namespace nimport::jetwriter {

// The pages of a memo or OLE column.
struct LongValueMaps {
  std::uint16_t columnId = 0;
  std::uint32_t ownedPagesMap = 0;  // row pointer, as the next
  std::uint32_t freeSpaceMap = 0;
};

// What a table definition says.
struct DefinitionParts {
  bool isSystem = false;
  std::uint32_t rowCount = 0;
  std::int32_t lastAutonumber = 0;
  std::span<const PlacedColumn> columns;  // deleted ones included
  std::uint32_t ownedPagesMap = 0;        // row pointer, as the next
  std::uint32_t freeSpaceMap = 0;
  std::vector<LongValueMaps> longValueMaps;
};

// The joined definition, the header of its first page included. No indexes.
[[nodiscard]] std::string BuildDefinition(const WriterContext& context,
                                          const DefinitionParts& parts);

// Writes a joined definition to `firstPage` and as many further pages as it needs.
void WriteDefinitionPages(WriterContext& context, std::uint32_t firstPage,
                          std::string_view definition);

// The text sort order of a database with that code page: a locale id.
[[nodiscard]] std::uint16_t SortOrderOf(unsigned codePage);

}  // namespace nimport::jetwriter

#endif  // NIMPORT_TOOLS_JETWRITER_DEFINITION_WRITER_H_
