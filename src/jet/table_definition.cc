#include "jet/table_definition.h"

#include <algorithm>
#include <string>
#include <utility>

#include "jet/byte_reader.h"
#include "jet/damage.h"
#include "jet/database_error.h"
#include "jet/jet_layout.h"

namespace nimport::jet {
namespace {

// 255 columns and 32 indexes with the longest names take less than a tenth of this.
constexpr std::size_t MAX_DEFINITION_BYTES = std::size_t{1} << 20;
constexpr std::size_t MAX_NAME_BYTES = 2 * MAX_NAME_CHARACTERS;

Page ReadDefinitionPage(PageFile& file, std::uint32_t pageNumber) {
  Page page = file.Read(pageNumber);
  const unsigned type = ByteReader(page.bytes).U8(PAGE_TYPE_OFFSET);
  if (type != unsigned(PageType::TableDefinition)) {
    throw DatabaseError({.page = pageNumber},
                        "not a table definition but a page of type " + std::to_string(type));
  }
  return page;
}

// The definition's pages joined, with the header of the first one only.
std::vector<std::byte> JoinPages(PageFile& file, std::uint32_t firstPage) {
  Page page = ReadDefinitionPage(file, firstPage);
  const std::size_t length = ByteReader(page.bytes).U32(DEFINITION_LENGTH_OFFSET);
  if (length < file.Layout().definition.fixedPartBytes || length > MAX_DEFINITION_BYTES) {
    throw DatabaseError({.page = firstPage},
                        "a table definition cannot have " + std::to_string(length) + " bytes");
  }
  std::vector<std::byte> joined(page.bytes.begin(), page.bytes.end());
  // Each page brings the end nearer, so that a ring of pages ends too.
  while (joined.size() < length) {
    const std::uint32_t next = ByteReader(page.bytes).U32(DEFINITION_NEXT_PAGE_OFFSET);
    if (next == 0) {
      throw DatabaseError({.page = page.number}, "the table definition ends after " +
                                                     std::to_string(joined.size()) + " of " +
                                                     std::to_string(length) + " bytes");
    }
    page = ReadDefinitionPage(file, next);
    const auto rest = page.bytes.subspan(DEFINITION_PAGE_HEADER_BYTES);
    joined.insert(joined.end(), rest.begin(), rest.end());
  }
  joined.resize(length);
  return joined;
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
  DefinitionParser(const JetLayout& layout, std::span<const std::byte> joined,
                   const TextDecoder& names)
      : layout_(layout), reader_(joined), names_(names) {}

  StoredDefinition Parse() {
    const DefinitionLayout& fields = layout_.definition;
    StoredDefinition result;
    result.rowCountHint = reader_.U32(fields.rowCount);
    result.ownedPagesMap = RowPointer::Unpack(reader_.U32(fields.ownedPagesMap));

    const std::size_t columnCount = reader_.U16(fields.columnCount);
    const std::size_t highWater = reader_.U16(fields.columnHighWater);
    if (columnCount > MAX_COLUMNS || columnCount > highWater) {
      throw DatabaseError({}, "the table definition claims " + std::to_string(columnCount) +
                                  " columns with ids below " + std::to_string(highWater));
    }
    result.columnHighWater = highWater;
    const std::uint64_t counters =
        std::uint64_t{reader_.U32(fields.realIndexCount)} * fields.indexCounterBytes;
    position_ = fields.fixedPartBytes;
    Take(counters);
    for (std::size_t i = 0; i < columnCount; ++i)
      result.columns.push_back(ParseRecord(highWater));
    for (Column& column : result.columns)
      column.name = ParseName();
    SortById(result.columns);
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
    column.type = ToColumnType(record.U8(fields.type));
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

  std::string ParseName() {
    const ByteReader lengthField = Take(layout_.definition.nameLengthBytes);
    const std::size_t length =
        layout_.definition.nameLengthBytes == 1 ? lengthField.U8(0) : lengthField.U16(0);
    if (length > MAX_NAME_BYTES) {
      throw DatabaseError({}, "a column name claims " + std::to_string(length) + " bytes");
    }
    return names_.DecodeName(Take(length).All());
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
  const TextDecoder& names_;
  std::size_t position_ = 0;
};

}  // namespace

StoredDefinition ReadTableDefinition(PageFile& file, std::uint32_t pageNumber,
                                     const TextDecoder& names) {
  try {
    const std::vector<std::byte> joined = JoinPages(file, pageNumber);
    StoredDefinition definition = DefinitionParser(file.Layout(), joined, names).Parse();
    definition.page = pageNumber;
    return definition;
  } catch (const DatabaseError& error) {
    RethrowAt(error, {.file = file.Name(), .page = pageNumber});
  }
}

}  // namespace nimport::jet
