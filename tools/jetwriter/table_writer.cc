#include "jetwriter/table_writer.h"

#include <algorithm>
#include <utility>

#include "jetwriter/byte_writer.h"
#include "jetwriter/definition_writer.h"
#include "jetwriter/usage_map_writer.h"
#include "jetwriter/value_encoder.h"
#include "jetwriter/write_error.h"

namespace nimport::jetwriter {
namespace {

// What a slot keeps of a row that moved: Jet 3 cuts it to the pointer, Jet 4 leaves the bytes
// after the pointer as they were.
constexpr std::size_t MOVED_SLOT_BYTES_JET4 = 24;

void CheckTable(const TableSpec& spec) {
  if (spec.columns.empty()) throw WriteError("table \"" + spec.name + "\" has no columns");
  if (spec.columns.size() > jet::MAX_COLUMNS) {
    throw WriteError("table \"" + spec.name + "\" has more than 255 columns");
  }
  for (const ColumnSpec& column : spec.columns) {
    const bool hasSize =
        column.type == jet::ColumnType::Text || column.type == jet::ColumnType::Binary;
    if (hasSize && column.size == 0) {
      throw WriteError("table \"" + spec.name + "\", column \"" + column.name +
                       "\": the size is missing");
    }
  }
}

bool IsLongValue(jet::ColumnType type) {
  return type == jet::ColumnType::Memo || type == jet::ColumnType::Ole;
}

}  // namespace

TableWriter::TableWriter(WriterContext& context, const TableSpec& spec,
                         std::uint32_t definitionPage, Kind kind)
    : context_(context),
      spec_(spec),
      definitionPage_(definitionPage),
      kind_(kind),
      columns_(PlaceColumns(spec.columns)) {
  CheckTable(spec);
  for (std::size_t id = 0; id < spec_.columns.size(); ++id) {
    if (IsLongValue(spec_.columns[id].type)) longValues_.emplace(id, context);
  }
}

void TableWriter::AddRow(std::span<const jet::Value> values, const RowOptions& options) {
  const std::size_t known = options.columnCount == 0 ? columns_.size() : options.columnCount;
  try {
    if (values.size() != known || known > columns_.size()) {
      throw WriteError("it has " + std::to_string(values.size()) + " values instead of " +
                       std::to_string(known));
    }
    PlaceRow(EncodeRow(context_.layout, columns_, StoreValues(values)), options.form);
  } catch (const WriteError& error) {
    throw WriteError("table \"" + spec_.name + "\", row " + std::to_string(rowCount_ + 1) + ": " +
                     error.what());
  }
}

std::vector<std::optional<std::string>> TableWriter::StoreValues(
    std::span<const jet::Value> values) {
  std::vector<std::optional<std::string>> stored;
  for (std::size_t id = 0; id < values.size(); ++id) {
    try {
      stored.push_back(StoreValue(id, values[id]));
    } catch (const WriteError& error) {
      throw WriteError("column \"" + spec_.columns[id].name + "\": " + error.what());
    }
  }
  return stored;
}

std::optional<std::string> TableWriter::StoreValue(std::size_t id, const jet::Value& value) {
  const ColumnSpec& column = spec_.columns[id];
  if (jet::IsNull(value)) return std::nullopt;
  if (column.type == jet::ColumnType::Boolean) {
    const bool* isTrue = std::get_if<bool>(&value);
    if (isTrue == nullptr) throw WriteError("the value is neither true nor false");
    return *isTrue ? std::optional<std::string>("") : std::nullopt;
  }
  std::string bytes = EncodeValue(context_, column, value);
  if (column.isAutonumber) {
    if (const auto* number = std::get_if<std::int32_t>(&value)) {
      lastAutonumber_ = std::max(lastAutonumber_, *number);
    }
  }
  const auto longValue = longValues_.find(id);
  return longValue == longValues_.end() ? std::move(bytes) : longValue->second.Write(bytes);
}

void TableWriter::PlaceRow(const std::string& row, RowForm form) {
  if (form == RowForm::Deleted || form == RowForm::DeletedWithBytes) {
    Append(page_, form == RowForm::Deleted ? "" : row, jet::SLOT_DELETED);
    return;
  }
  ++rowCount_;
  if (form == RowForm::Live) {
    Append(page_, row, jet::SLOT_LIVE);
    return;
  }
  ByteWriter source;
  source.U32(Append(targetPage_, row, jet::SLOT_TARGET));
  if (context_.layout.version == jet::JET4.version && row.size() > source.Size()) {
    source.Bytes(std::string_view(row).substr(source.Size(), MOVED_SLOT_BYTES_JET4));
  }
  Append(page_, source.View(), jet::SLOT_MOVED);
}

std::uint32_t TableWriter::Append(std::optional<PageBuilder>& page, std::string_view row,
                                  std::uint16_t flags) {
  if (page && !page->HasRoomFor(row.size())) FlushPage(page);
  if (!page) {
    page.emplace(context_.layout, context_.pages.Allocate(), definitionPage_);
    ownedPages_.Add(page->PageNumber());
  }
  return page->AddRow(row, flags);
}

void TableWriter::FlushPage(std::optional<PageBuilder>& page) {
  if (page) context_.pages.Write(page->PageNumber(), page->ToBytes());
  page.reset();
}

void TableWriter::Flush() {
  if (page_) freePages_.Add(page_->PageNumber());
  FlushPage(page_);
  FlushPage(targetPage_);
  for (auto& [id, writer] : longValues_)
    writer.Flush();
}

void TableWriter::WriteDefinition(UsageMapWriter& maps) {
  DefinitionParts parts{
      .isSystem = kind_ == Kind::System,
      .rowCount = rowCount_,
      .lastAutonumber = lastAutonumber_,
      .columns = columns_,
      .ownedPagesMap = maps.AddMap(ownedPages_),
      .freeSpaceMap = maps.AddMap(freePages_),
      .longValueMaps = {},
  };
  for (const auto& [id, writer] : longValues_) {
    if (columns_[id].spec.isDeleted) continue;
    const std::uint32_t owned = maps.AddMap(writer.OwnedPages());
    parts.longValueMaps.push_back({.columnId = static_cast<std::uint16_t>(id),
                                   .ownedPagesMap = owned,
                                   .freeSpaceMap = maps.AddMap(writer.FreePages())});
  }
  WriteDefinitionPages(context_, definitionPage_, BuildDefinition(context_, parts));
}

}  // namespace nimport::jetwriter
