#include "jet/storage/table_definition.h"

#include <algorithm>
#include <string>
#include <utility>

#include "jet/database_error.h"
#include "jet/format/byte_reader.h"
#include "jet/format/jet_layout.h"
#include "jet/format/text_decoder.h"
#include "jet/storage/damage.h"
#include "jet/storage/page_file.h"

namespace nimport::jet {
namespace {

// 255 columns and 32 indexes with the longest names take less than a tenth of this.
constexpr std::size_t MAX_DEFINITION_BYTES = std::size_t{1} << 20;
constexpr std::size_t MAX_NAME_BYTES = 2 * MAX_NAME_CHARACTERS;

// Empty for the page of a definition.
std::string DescribeWrongType(const Page& page) {
  const unsigned type = ByteReader(page.bytes).U8(PAGE_TYPE_OFFSET);
  if (type == unsigned(PageType::TableDefinition)) return {};
  return "not a table definition but a page of type " + std::to_string(type);
}

Page ReadDefinitionPage(PageFile& file, std::uint32_t pageNumber) {
  Page page = file.Read(pageNumber);
  const std::string wrongType = DescribeWrongType(page);
  if (!wrongType.empty()) throw DatabaseError({.page = pageNumber}, wrongType);
  return page;
}

ColumnType ToColumnType(unsigned stored) {
  switch (const auto type = static_cast<ColumnType>(stored)) {
    case ColumnType::Boolean:
    case ColumnType::Byte:
    case ColumnType::Integer:
    case ColumnType::Long:
    case ColumnType::Currency:
    case ColumnType::Single:
    case ColumnType::Double:
    case ColumnType::DateTime:
    case ColumnType::Binary:
    case ColumnType::Text:
    case ColumnType::Ole:
    case ColumnType::Memo:
    case ColumnType::Guid:
    case ColumnType::Numeric:
      return type;
  }
  return ColumnType::Binary;  // a type of the engine's own, or of a later one
}

class DefinitionParser {
 public:
  DefinitionParser(const JetLayout& layout, std::span<const std::byte> joined)
      : layout_(layout), reader_(joined) {}

  StoredDefinition Parse() {
    const DefinitionLayout& fields = layout_.definition;
    StoredDefinition result;
    result.rowCountHint = reader_.U32(fields.rowCount);
    result.ownedPagesMap = {reader_.U32(fields.ownedPagesMap)};

    const std::size_t columnCount = reader_.U16(fields.columnCount);
    const std::size_t highWater = reader_.U16(fields.columnHighWater);
    if (columnCount > MAX_COLUMNS || columnCount > highWater) {
      throw DatabaseError({}, "the table definition claims " + std::to_string(columnCount) +
                                  " columns with ids below " + std::to_string(highWater));
    }
    result.columnHighWater = highWater;
    result.variableSlots = reader_.U16(fields.variableColumns);
    const std::uint64_t counters =
        std::uint64_t{reader_.U32(fields.realIndexCount)} * fields.indexCounterBytes;
    position_ = fields.fixedPartBytes;
    Take(counters);
    for (std::size_t i = 0; i < columnCount; ++i)
      result.columns.push_back(ParseRecord(highWater));
    for (Column& column : result.columns)
      column.name = TakeName();
    SortById(result.columns);
    try {
      ParseRest(result);
    } catch (const DatabaseError& error) {
      result.brokenRest = error.reason();
    }
    return result;
  }

 private:
  // The next `size` bytes of the definition.
  ByteReader Take(std::uint64_t size) {
    const auto bytes = reader_.Bytes(position_, static_cast<std::size_t>(size));
    position_ += bytes.size();
    return ByteReader(bytes);
  }

  Column ParseRecord(std::size_t highWater) {
    const ColumnRecordLayout& fields = layout_.column;
    const ByteReader record = Take(layout_.definition.columnRecordBytes);
    Column column;
    column.storedType = static_cast<std::uint8_t>(record.U8(fields.type));
    column.type = ToColumnType(column.storedType);
    column.id = record.U16(fields.id);
    if (column.id >= highWater) {
      throw DatabaseError({}, "a column has the id " + std::to_string(column.id) +
                                  ", ids end below " + std::to_string(highWater));
    }
    column.isFixed = (record.U8(fields.flags) & COLUMN_FIXED) != 0;
    if (column.isFixed) {
      column.fixedOffset = record.U16(fields.fixedOffset);
    } else {
      column.variableSlot = record.U16(fields.variableSlot);
    }
    column.sizeBytes = record.U16(fields.sizeBytes);
    if (column.type == ColumnType::Numeric) column.scale = record.U8(fields.scale);
    return column;
  }

  std::string TakeName() {
    const ByteReader lengthField = Take(layout_.definition.nameLengthBytes);
    const std::size_t length =
        layout_.definition.nameLengthBytes == 1 ? lengthField.U8(0) : lengthField.U16(0);
    if (length > MAX_NAME_BYTES) {
      throw DatabaseError({}, "a name in it claims " + std::to_string(length) + " bytes");
    }
    const auto bytes = Take(length).All();
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
  }

  void ParseRest(StoredDefinition& result) {
    const DefinitionLayout& fields = layout_.definition;
    const auto addMap = [&result](std::uint32_t pointer) { result.otherMaps.push_back({pointer}); };
    addMap(reader_.U32(fields.freeSpaceMap));
    const std::uint32_t realIndexes = reader_.U32(fields.realIndexCount);
    for (std::uint32_t i = 0; i < realIndexes; ++i) {
      const ByteReader index = Take(fields.realIndexBytes);
      for (std::size_t key = 0; key < MAX_KEY_COLUMNS; ++key) {
        const unsigned id = index.U16(fields.indexKeys + key * INDEX_KEY_BYTES);
        if (id != NO_KEY_COLUMN) result.keyColumnIds.push_back(static_cast<std::uint16_t>(id));
      }
      addMap(index.U32(fields.indexPagesMap));
    }
    const std::uint32_t logicalIndexes = reader_.U32(fields.logicalIndexCount);
    Take(std::uint64_t{logicalIndexes} * fields.logicalIndexBytes);
    for (std::uint32_t i = 0; i < logicalIndexes; ++i)
      TakeName();
    for (;;) {
      const unsigned id = Take(sizeof(std::uint16_t)).U16(0);
      if (id == LONG_VALUE_MAPS_END) break;
      const ByteReader maps = Take(LONG_VALUE_MAPS_BYTES - sizeof(std::uint16_t));
      result.longValueColumnIds.push_back(static_cast<std::uint16_t>(id));
      addMap(maps.U32(0));
      addMap(maps.U32(ROW_POINTER_BYTES));
    }
    if (position_ != reader_.size()) {
      throw DatabaseError({}, "it ends after " + std::to_string(position_) + " of its " +
                                  std::to_string(reader_.size()) + " bytes");
    }
  }

  static void SortById(std::vector<Column>& columns) {
    std::sort(columns.begin(), columns.end(),
              [](const Column& a, const Column& b) { return a.id < b.id; });
    const auto twice =
        std::adjacent_find(columns.begin(), columns.end(),
                           [](const Column& a, const Column& b) { return a.id == b.id; });
    if (twice != columns.end()) {
      throw DatabaseError({}, "two columns have the id " + std::to_string(twice->id));
    }
  }

  const JetLayout& layout_;
  ByteReader reader_;
  std::size_t position_ = 0;
};

}  // namespace

std::vector<std::byte> ReadDefinitionBytes(PageFile& file, std::uint32_t pageNumber,
                                           std::string* wrongType) {
  try {
    Page page = wrongType == nullptr ? ReadDefinitionPage(file, pageNumber) : file.Read(pageNumber);
    if (wrongType != nullptr) *wrongType = DescribeWrongType(page);
    std::vector<std::byte> joined(page.bytes.begin(), page.bytes.end());
    const std::size_t length = ByteReader(joined).U32(DEFINITION_LENGTH_OFFSET);
    const std::size_t wanted = std::min(length, MAX_DEFINITION_BYTES);
    // Each page brings the end nearer, so that a ring of pages ends too.
    while (joined.size() < wanted) {
      const std::uint32_t next = ByteReader(page.bytes).U32(DEFINITION_NEXT_PAGE_OFFSET);
      if (next == 0) break;
      page = ReadDefinitionPage(file, next);
      const auto rest = page.bytes.subspan(DEFINITION_PAGE_HEADER_BYTES);
      joined.insert(joined.end(), rest.begin(), rest.end());
    }
    return joined;
  } catch (const DatabaseError& error) {
    RethrowAt(error, {.file = file.Name(), .page = pageNumber});
  }
}

StoredDefinition ParseDefinition(const JetLayout& layout, std::span<const std::byte> joined,
                                 std::uint32_t pageNumber) {
  const std::size_t length = ByteReader(joined).U32(DEFINITION_LENGTH_OFFSET);
  if (length < layout.definition.fixedPartBytes || length > MAX_DEFINITION_BYTES) {
    throw DatabaseError({}, "a table definition cannot have " + std::to_string(length) + " bytes");
  }
  if (length > joined.size()) {
    throw DatabaseError({}, "the table definition ends after " + std::to_string(joined.size()) +
                                " of " + std::to_string(length) + " bytes");
  }
  StoredDefinition definition = DefinitionParser(layout, joined.first(length)).Parse();
  definition.page = pageNumber;
  return definition;
}

void DecodeNames(StoredDefinition& definition, const TextDecoder& names) {
  for (Column& column : definition.columns)
    column.name = names.DecodeName(std::as_bytes(std::span(column.name)));
}

StoredDefinition ReadTableDefinition(PageFile& file, std::uint32_t pageNumber,
                                     const TextDecoder& names) {
  const std::vector<std::byte> joined = ReadDefinitionBytes(file, pageNumber);
  try {
    StoredDefinition definition = ParseDefinition(file.Layout(), joined, pageNumber);
    DecodeNames(definition, names);
    return definition;
  } catch (const DatabaseError& error) {
    RethrowAt(error, {.file = file.Name(), .page = pageNumber});
  }
}

}  // namespace nimport::jet
