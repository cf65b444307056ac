#include "jetwriter/definition_writer.h"

#include <algorithm>

#include "jetwriter/byte_writer.h"
#include "jetwriter/value_encoder.h"
#include "jetwriter/write_error.h"
#include "text/code_page_converter.h"

namespace nimport::jetwriter {
namespace {

constexpr std::uint16_t SORT_ORDER_JAPANESE = 0x0411;
constexpr std::size_t MAX_JET3_NAME_BYTES = 255;

bool IsJet4(const WriterContext& context) {
  return context.layout.version == jet::JET4.version;
}

std::uint8_t FlagsOf(const PlacedColumn& column, bool isSystem) {
  int flags = jet::COLUMN_UPDATABLE;
  if (column.isFixed) flags |= jet::COLUMN_FIXED;
  if (column.spec.isAutonumber) flags |= jet::COLUMN_AUTONUMBER;
  if (isSystem) flags |= jet::COLUMN_SYSTEM;
  return static_cast<std::uint8_t>(flags);
}

bool IsText(jet::ColumnType type) {
  return type == jet::ColumnType::Text || type == jet::ColumnType::Memo;
}

void SetVersionFields(const WriterContext& context, const ColumnSpec& spec, ByteWriter& record) {
  const jet::ColumnRecordLayout& at = context.layout.column;
  if (!IsJet4(context)) {
    record.SetNumber(at.sortOrder, SortOrderOf(context.options.codePage), 2);
    record.SetNumber(jet::COLUMN_CODE_PAGE_OFFSET_JET3, context.options.codePage, 2);
    return;
  }
  record.SetNumber(jet::COLUMN_CONSTANT_OFFSET_JET4, jet::DEFINITION_CONSTANT_JET4, 4);
  if (spec.type == jet::ColumnType::Numeric) {
    record.SetNumber(at.precision, spec.precision, 1);
    record.SetNumber(at.scale, spec.scale, 1);
  } else {
    record.SetNumber(at.sortOrder, SortOrderOf(context.options.codePage), 2);
  }
  if (context.options.compressText && IsText(spec.type)) {
    record.SetNumber(at.furtherFlags, jet::COLUMN_COMPRESSIBLE, 1);
  }
}

std::string MakeColumnRecord(const WriterContext& context, const PlacedColumn& column,
                             std::uint16_t id, bool isSystem) {
  const jet::ColumnRecordLayout& at = context.layout.column;
  ByteWriter record(context.layout.definition.columnRecordBytes);
  record.SetNumber(at.type, static_cast<std::uint8_t>(column.spec.type), 1);
  record.SetNumber(at.id, id, 2);
  record.SetNumber(at.variableSlot, column.variableSlot, 2);
  record.SetNumber(at.ordinal, isSystem ? 0 : id, 2);
  SetVersionFields(context, column.spec, record);
  record.SetNumber(at.flags, FlagsOf(column, isSystem), 1);
  record.SetNumber(at.fixedOffset, column.fixedOffset, 2);
  record.SetNumber(at.sizeBytes, SizeBytes(context.layout, column.spec), 2);
  return record.Take();
}

void AppendName(const WriterContext& context, const std::string& name, ByteWriter& definition) {
  const std::string bytes = context.text.Encode(name);
  const std::size_t maxBytes = IsJet4(context) ? 2 * jet::MAX_NAME_CHARACTERS : MAX_JET3_NAME_BYTES;
  if (name.empty() || bytes.size() > maxBytes) {
    throw WriteError("\"" + name + "\" is no name that a column can have");
  }
  definition.Number(bytes.size(), context.layout.definition.nameLengthBytes);
  definition.Bytes(bytes);
}

// The part before the column records. Its length is set when the whole is known.
ByteWriter MakeFixedPart(const WriterContext& context, const DefinitionParts& parts) {
  const jet::DefinitionLayout& at = context.layout.definition;
  const auto isLive = [](const PlacedColumn& column) { return !column.spec.isDeleted; };
  const auto isVariable = [](const PlacedColumn& column) { return !column.isFixed; };
  ByteWriter fixed(at.fixedPartBytes);
  fixed.SetNumber(at.rowCount, parts.rowCount, 4);
  fixed.SetNumber(at.lastAutonumber, static_cast<std::uint32_t>(parts.lastAutonumber), 4);
  fixed.SetNumber(at.tableType, parts.isSystem ? jet::TABLE_TYPE_SYSTEM : jet::TABLE_TYPE_USER, 1);
  fixed.SetNumber(at.columnHighWater, parts.columns.size(), 2);
  fixed.SetNumber(at.variableColumns,
                  static_cast<std::size_t>(std::ranges::count_if(parts.columns, isVariable)), 2);
  fixed.SetNumber(at.columnCount,
                  static_cast<std::size_t>(std::ranges::count_if(parts.columns, isLive)), 2);
  fixed.SetNumber(at.ownedPagesMap, parts.ownedPagesMap, 4);
  fixed.SetNumber(at.freeSpaceMap, parts.freeSpaceMap, 4);
  if (IsJet4(context)) {
    fixed.SetNumber(jet::DEFINITION_CONSTANT_OFFSET_JET4, jet::DEFINITION_CONSTANT_JET4, 4);
    fixed.SetNumber(jet::AUTONUMBER_STEP_OFFSET_JET4, 1, 4);
  }
  return fixed;
}

}  // namespace

std::uint16_t SortOrderOf(unsigned codePage) {
  return codePage == text::CODE_PAGE_JAPANESE ? SORT_ORDER_JAPANESE : jet::SORT_ORDER_GENERAL;
}

std::string BuildDefinition(const WriterContext& context, const DefinitionParts& parts) {
  ByteWriter definition = MakeFixedPart(context, parts);
  for (std::size_t id = 0; id < parts.columns.size(); ++id) {
    if (parts.columns[id].spec.isDeleted) continue;
    definition.Bytes(MakeColumnRecord(context, parts.columns[id], static_cast<std::uint16_t>(id),
                                      parts.isSystem));
  }
  for (const PlacedColumn& column : parts.columns) {
    if (!column.spec.isDeleted) AppendName(context, column.spec.name, definition);
  }
  for (const LongValueMaps& maps : parts.longValueMaps) {
    definition.U16(maps.columnId);
    definition.U32(maps.ownedPagesMap);
    definition.U32(maps.freeSpaceMap);
  }
  definition.U16(jet::LONG_VALUE_MAPS_END);
  definition.SetNumber(jet::DEFINITION_LENGTH_OFFSET, definition.Size(), 4);
  return definition.Take();
}

void WriteDefinitionPages(WriterContext& context, std::uint32_t firstPage,
                          std::string_view definition) {
  const std::size_t pageSize = context.layout.pageSize;
  // The header of the first page is part of the joined definition.
  std::string_view rest = definition.substr(jet::DEFINITION_PAGE_HEADER_BYTES);
  std::uint32_t pageNumber = firstPage;
  while (true) {
    const std::string_view piece = rest.substr(0, pageSize - jet::DEFINITION_PAGE_HEADER_BYTES);
    rest.remove_prefix(piece.size());
    const std::uint32_t nextPage = rest.empty() ? 0 : context.pages.Allocate();
    const std::size_t used = jet::DEFINITION_PAGE_HEADER_BYTES + piece.size();
    // The engine leaves room for one more header on every page.
    const std::size_t wanted = used + jet::DEFINITION_PAGE_HEADER_BYTES;
    const std::size_t freeBytes = pageSize > wanted ? pageSize - wanted : 0;
    ByteWriter page;
    page.U8(static_cast<std::uint8_t>(jet::PageType::TableDefinition));
    page.U8(jet::PAGE_MARK);
    page.U16(IsJet4(context) ? freeBytes : jet::DEFINITION_MARK_JET3);
    page.U32(nextPage);
    page.Bytes(piece);
    page.PadTo(pageSize);
    context.pages.Write(pageNumber, page.View());
    if (nextPage == 0) return;
    pageNumber = nextPage;
  }
}

}  // namespace nimport::jetwriter
