#include "jet/salvage/system_tables.h"

#include <algorithm>

#include "jet/format/jet_layout.h"
#include "text/ascii.h"

namespace nimport::jet {

StoredDefinition MakeSystemDefinition(std::span<const SystemColumn> columns, std::uint32_t page) {
  StoredDefinition definition;
  definition.page = page;
  std::uint16_t fixedOffset = 0;
  std::uint16_t variableSlot = 0;
  for (const SystemColumn& system : columns) {
    Column& column = definition.columns.emplace_back();
    column.name = system.name;
    column.type = system.type;
    column.id = static_cast<std::uint16_t>(definition.columns.size() - 1);
    const std::size_t width = FixedWidth(system.type);
    column.isFixed = width != 0 || system.type == ColumnType::Boolean;
    if (column.isFixed) {
      column.fixedOffset = fixedOffset;
      fixedOffset = static_cast<std::uint16_t>(fixedOffset + width);
    } else {
      column.variableSlot = variableSlot++;
    }
    column.sizeBytes = system.size;
  }
  definition.columnHighWater = definition.columns.size();
  return definition;
}

bool HasSystemColumns(const StoredDefinition& definition, std::span<const SystemColumn> columns) {
  const StoredDefinition usual = MakeSystemDefinition(columns, definition.page);
  return std::ranges::all_of(usual.columns, [&](const Column& wanted) {
    if (!columns[wanted.id].inJet3) return true;
    const auto found = std::ranges::find(definition.columns, wanted.id, &Column::id);
    return found != definition.columns.end() && found->type == wanted.type &&
           text::EqualsIgnoringCase(found->name, wanted.name) && found->isFixed == wanted.isFixed &&
           (found->isFixed ? found->fixedOffset == wanted.fixedOffset
                           : found->variableSlot == wanted.variableSlot);
  });
}

}  // namespace nimport::jet
