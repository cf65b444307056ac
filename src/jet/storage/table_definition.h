#ifndef NIMPORT_JET_STORAGE_TABLE_DEFINITION_H_
#define NIMPORT_JET_STORAGE_TABLE_DEFINITION_H_

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "jet/format/jet_layout.h"
#include "jet/value.h"

namespace nimport::jet {

class PageFile;
class TextDecoder;

// One column as its table's definition describes it.
struct Column {
  std::string name;  // UTF-8
  ColumnType type{};
  std::uint16_t id = 0;
  bool isFixed = false;
  std::uint16_t fixedOffset = 0;   // bytes, in the row's fixed area; fixed columns only
  std::uint16_t variableSlot = 0;  // variable columns only
  std::uint16_t sizeBytes = 0;     // as defined; 0 for long values
  std::uint8_t scale = 0;          // Numeric only
  std::uint8_t storedType = 0;     // the type's number; one that is not known reads as Binary

  friend bool operator==(const Column&, const Column&) = default;
};

// What the pages of a table's definition say.
struct StoredDefinition {
  std::uint32_t page = 0;          // the first one: what the table's data pages name as their owner
  std::uint32_t rowCountHint = 0;  // not dependable
  RowId ownedPagesMap;
  std::size_t columnHighWater = 0;  // above all ids, those of deleted columns too
  std::size_t variableSlots = 0;    // of the newest rows, those of deleted columns too
  std::vector<Column> columns;      // by id

  // The rest of the definition, which no row needs and which bears out what the columns say.
  std::vector<RowId> otherMaps;                   // of free space, indexes and long values
  std::vector<std::uint16_t> keyColumnIds;        // of the indexes; each may come several times
  std::vector<std::uint16_t> longValueColumnIds;  // of columns that have maps for long values
  std::string brokenRest;                         // why the rest cannot be read; empty otherwise
};

// The pages of the definition that begins on `pageNumber`, as many as it says that it needs,
// joined, with the header of the first one only. Throws DatabaseError naming the page. With
// `wrongType` the first page may be of any type; what is wrong with it is put there, or nothing.
[[nodiscard]] std::vector<std::byte> ReadDefinitionBytes(PageFile& file, std::uint32_t pageNumber,
                                                         std::string* wrongType = nullptr);

// Parses a joined definition. The names of the columns are left as they are stored. Throws
// DatabaseError, without a place, for anything before the rest that cannot be.
[[nodiscard]] StoredDefinition ParseDefinition(const JetLayout& layout,
                                               std::span<const std::byte> joined,
                                               std::uint32_t pageNumber);

void DecodeNames(StoredDefinition& definition, const TextDecoder& names);

// All of that. `names` decodes to UTF-8. Throws DatabaseError naming the page.
[[nodiscard]] StoredDefinition ReadTableDefinition(PageFile& file, std::uint32_t pageNumber,
                                                   const TextDecoder& names);

}  // namespace nimport::jet

#endif  // NIMPORT_JET_STORAGE_TABLE_DEFINITION_H_
