#ifndef NIMPORT_JET_SALVAGE_SYSTEM_TABLES_H_
#define NIMPORT_JET_SALVAGE_SYSTEM_TABLES_H_

#include <cstdint>
#include <span>

#include "jet/format/system_layout.h"
#include "jet/storage/table_definition.h"

namespace nimport::jet {

// The definition of a system table as every file has it, for a file whose own is damaged. It names
// no map of the table's pages.
[[nodiscard]] StoredDefinition MakeSystemDefinition(std::span<const SystemColumn> columns,
                                                    std::uint32_t page);

// Whether the definition has those of the columns that every version has, where they are always.
[[nodiscard]] bool HasSystemColumns(const StoredDefinition& definition,
                                    std::span<const SystemColumn> columns);

}  // namespace nimport::jet

#endif  // NIMPORT_JET_SALVAGE_SYSTEM_TABLES_H_
