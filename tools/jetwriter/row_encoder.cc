#include "jetwriter/row_encoder.h"

#include "jetwriter/byte_writer.h"
#include "jetwriter/write_error.h"

namespace nimport::jetwriter {
namespace {

using StoredValues = std::span<const std::optional<std::string>>;

constexpr std::size_t JUMP_BYTES = 256;  // what one entry of a jump table stands for
constexpr std::uint8_t DUMMY_JUMP = 0xFF;

bool IsStoredFixed(const ColumnSpec& column) {
  return !column.isStoredVariable &&
         (column.type == jet::ColumnType::Boolean || jet::FixedWidth(column.type) != 0);
}

std::string MakeNullMask(StoredValues values) {
  std::string mask((values.size() + 7) / 8, '\0');
  for (std::size_t id = 0; id < values.size(); ++id) {
    if (values[id]) mask[id / 8] = static_cast<char>(mask[id / 8] | (1 << (id % 8)));
  }
  return mask;
}

void AppendFixedArea(ByteWriter& row, std::span<const PlacedColumn> columns, StoredValues values) {
  const std::size_t start = row.Size();
  for (std::size_t id = 0; id < values.size(); ++id) {
    if (!columns[id].isFixed) continue;
    const std::size_t end =
        start + columns[id].fixedOffset + jet::FixedWidth(columns[id].spec.type);
    if (values[id]) row.Bytes(*values[id]);
    row.PadTo(end);
  }
}

// Appends the variable values; returns where each begins, and last where the last one ends.
std::vector<std::size_t> AppendVariableData(ByteWriter& row, std::span<const PlacedColumn> columns,
                                            StoredValues values) {
  std::vector<std::size_t> offsets;
  for (std::size_t id = 0; id < values.size(); ++id) {
    if (columns[id].isFixed) continue;
    offsets.push_back(row.Size());
    if (values[id]) row.Bytes(*values[id]);
  }
  offsets.push_back(row.Size());
  return offsets;
}

// The jump table of a row of Jet 3, as it stands in the row: the last jump first. Its length
// counts in the length of the row that it depends on.
std::string MakeJumpTable(const std::vector<std::size_t>& offsets, std::size_t maskBytes) {
  const std::size_t endOfData = offsets.back();
  const std::size_t bytesWithout = endOfData + offsets.size() + 1 + maskBytes;
  std::size_t count = 0;
  while (count != (bytesWithout + count - 1) / JUMP_BYTES)
    ++count;
  std::string table(count, static_cast<char>(DUMMY_JUMP));
  for (std::size_t k = 0; k < count && k < endOfData / JUMP_BYTES; ++k) {
    std::size_t slot = 0;
    while (offsets[slot] < JUMP_BYTES * (k + 1))
      ++slot;
    table[count - 1 - k] = static_cast<char>(slot);
  }
  return table;
}

void AppendTrailer(ByteWriter& row, const jet::JetLayout& layout,
                   const std::vector<std::size_t>& offsets, std::size_t maskBytes) {
  const std::string jumps = layout.hasJumpTable ? MakeJumpTable(offsets, maskBytes) : "";
  for (auto offset = offsets.rbegin(); offset != offsets.rend(); ++offset) {
    row.Number(*offset, layout.rowNumberBytes);
  }
  row.Bytes(jumps);
  row.Number(offsets.size() - 1, layout.rowNumberBytes);
}

}  // namespace

std::vector<PlacedColumn> PlaceColumns(const std::vector<ColumnSpec>& columns) {
  std::vector<PlacedColumn> placed;
  std::size_t fixedBytes = 0;
  std::uint16_t variableSlots = 0;
  for (const ColumnSpec& spec : columns) {
    PlacedColumn column{.spec = spec, .isFixed = IsStoredFixed(spec)};
    column.variableSlot = variableSlots;
    if (column.isFixed) {
      column.fixedOffset = static_cast<std::uint16_t>(fixedBytes);
      fixedBytes += jet::FixedWidth(spec.type);
    } else {
      ++variableSlots;
    }
    placed.push_back(column);
  }
  return placed;
}

std::string EncodeRow(const jet::JetLayout& layout, std::span<const PlacedColumn> columns,
                      std::span<const std::optional<std::string>> values) {
  const std::string mask = MakeNullMask(values);
  ByteWriter row;
  row.Number(values.size(), layout.rowNumberBytes);
  AppendFixedArea(row, columns, values);
  const std::vector<std::size_t> offsets = AppendVariableData(row, columns, values);
  if (offsets.size() > 1) AppendTrailer(row, layout, offsets, mask.size());
  row.Bytes(mask);
  if (row.Size() > layout.maxRowBytes) {
    throw WriteError("a row of " + std::to_string(row.Size()) + " bytes is longer than the " +
                     std::to_string(layout.maxRowBytes) + " bytes that the format allows");
  }
  return row.Take();
}

}  // namespace nimport::jetwriter
