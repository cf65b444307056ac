#ifndef NIMPORT_TOOLS_JETWRITER_ROW_ENCODER_H_
#define NIMPORT_TOOLS_JETWRITER_ROW_ENCODER_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "jet/format/jet_layout.h"
#include "jetwriter/schema.h"

namespace nimport::jetwriter {

// Where a column's values stand in rows.
struct PlacedColumn {
  ColumnSpec spec;
  bool isFixed = false;
  std::uint16_t fixedOffset = 0;   // in the fixed area
  std::uint16_t variableSlot = 0;  // variable columns only; else the number of such before it
};

[[nodiscard]] std::vector<PlacedColumn> PlaceColumns(const std::vector<ColumnSpec>& columns);

// A row that knows the columns of `values`, the first ones of `columns`. A value is the bytes that
// the row holds for it; absent is null, and for a boolean false. Throws WriteError when the row
// becomes longer than the version allows.
[[nodiscard]] std::string EncodeRow(const jet::JetLayout& layout,
                                    std::span<const PlacedColumn> columns,
                                    std::span<const std::optional<std::string>> values);

}  // namespace nimport::jetwriter

#endif  // NIMPORT_TOOLS_JETWRITER_ROW_ENCODER_H_
