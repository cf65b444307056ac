#ifndef NIMPORT_JET_STORAGE_ROW_VIEW_H_
#define NIMPORT_JET_STORAGE_ROW_VIEW_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "jet/format/byte_reader.h"
#include "jet/format/jet_layout.h"

namespace nimport::jet {

// The parts of one row: which columns it knows, which of them are null, and the bytes of each.
// Borrows the row's bytes. Throws DatabaseError, without a place, when an offset leads outside.
class RowView {
 public:
  RowView() = default;

  RowView(const JetLayout& layout, std::span<const std::byte> bytes) { Show(layout, bytes); }

  // Looks at another row. Assigning a new view made the processor wait for its own stores; this and
  // reading numbers in place took a scan of a million rows from 61 to 20 ms.
  void Show(const JetLayout& layout, std::span<const std::byte> bytes) {
    layout_ = &layout;
    reader_ = ByteReader(bytes);
    columnCount_ = Number(0);
    const std::size_t maskBytes = (columnCount_ + 7) / 8;
    if (columnCount_ > MAX_COLUMNS || layout.rowNumberBytes + maskBytes > bytes.size()) {
      FailMask();
    }
    maskOffset_ = bytes.size() - maskBytes;
    isTrailerParsed_ = false;
  }

  // The columns that the table had when the row was written.
  [[nodiscard]] std::size_t ColumnCount() const { return columnCount_; }

  // Whether the row has a value for the column with this id; of a boolean column, its value. A
  // column that was added to the table after the row was written has none.
  [[nodiscard]] bool IsPresent(std::uint16_t columnId) const {
    // Show has seen that the mask lies within the row.
    return columnId < columnCount_ &&
           (std::to_integer<unsigned>(reader_.All()[maskOffset_ + columnId / 8]) >> (columnId % 8) &
            1) != 0;
  }

  // Bytes of the fixed area.
  [[nodiscard]] std::span<const std::byte> FixedBytes(std::size_t offset, std::size_t size) const {
    if (!HoldsFixed(offset, size)) FailFixed(offset, size);
    return reader_.All().subspan(layout_->rowNumberBytes + offset, size);
  }
  // Whether they lie within the row.
  [[nodiscard]] bool HoldsFixed(std::size_t offset, std::size_t size) const {
    return layout_->rowNumberBytes + offset + size <= maskOffset_;
  }

  // The room for fixed values: in a row that has variable slots, and in one that has none. Which it
  // is the table knows. The first throws DatabaseError where the row cannot have any.
  [[nodiscard]] std::size_t FixedBytesBeforeVariable() const;
  [[nodiscard]] std::size_t FixedBytesAlone() const {
    return maskOffset_ - layout_->rowNumberBytes;
  }
  // Throws DatabaseError as well.
  [[nodiscard]] std::size_t VariableSlotCount() const { return FindTrailer().slotCount; }

  // The value in a variable slot; empty when the row has no such slot.
  [[nodiscard]] std::optional<std::span<const std::byte>> VariableBytes(std::size_t slot) const;

 private:
  // A number in the version's width for rows.
  [[nodiscard]] unsigned Number(std::size_t offset) const {
    return layout_->rowNumberBytes == 1 ? reader_.U8(offset) : reader_.U16(offset);
  }
  // Positions in the row of the parts between the variable data and the null mask.
  struct Trailer {
    std::size_t begin = 0;  // the end-of-data number: nothing of the trailer lies before it
    std::size_t slotCount = 0;
    std::size_t firstOffset = 0;  // the number of slot 0; those of further slots lie before it
    std::size_t jumps = 0;        // position of jump 0; further jumps lie before it
    std::size_t jumpCount = 0;    // valid ones
  };
  [[nodiscard]] Trailer ParseTrailer() const;
  const Trailer& FindTrailer() const {
    if (!isTrailerParsed_) {
      trailer_ = ParseTrailer();
      isTrailerParsed_ = true;
    }
    return trailer_;
  }
  [[nodiscard]] std::size_t ValueOffset(std::size_t slot) const;

  [[noreturn]] void FailMask() const;
  [[noreturn]] static void FailFixed(std::size_t offset, std::size_t size);

  const JetLayout* layout_ = nullptr;
  ByteReader reader_;
  std::size_t columnCount_ = 0;
  std::size_t maskOffset_ = 0;
  // Of this row, from the first variable value on that is asked for.
  mutable Trailer trailer_;
  mutable bool isTrailerParsed_ = false;
};

}  // namespace nimport::jet

#endif  // NIMPORT_JET_STORAGE_ROW_VIEW_H_
