#include "jet/storage/row_view.h"

#include <algorithm>
#include <string>

#include "jet/database_error.h"

namespace nimport::jet {

RowView::Trailer RowView::ParseTrailer() const {
  const std::size_t width = layout_->rowNumberBytes;
  const std::size_t rowBytes = reader_.size();
  // Each jump stands for a multiple of 256 in the row. There are as many as the row's length asks
  // for, also where a value's offset does not.
  const std::size_t jumpBytes = layout_->hasJumpTable ? (rowBytes - 1) / 256 : 0;
  Trailer trailer;
  if (maskOffset_ < width + width) throw DatabaseError({}, "the row has no variable columns");
  trailer.slotCount = Number(maskOffset_ - width);
  const std::size_t trailerBytes = (trailer.slotCount + 2) * width + jumpBytes;
  if (trailerBytes + width > maskOffset_ || trailer.slotCount > MAX_COLUMNS) {
    throw DatabaseError({}, "the row claims " + std::to_string(trailer.slotCount) +
                                " variable columns, for which it is too short");
  }
  trailer.begin = maskOffset_ - trailerBytes;
  trailer.firstOffset = trailer.begin + trailer.slotCount * width;
  trailer.jumps = maskOffset_ - width - 1;
  trailer.jumpCount = std::min(jumpBytes, trailer.begin / 256);
  return trailer;
}

std::size_t RowView::ValueOffset(std::size_t slot) const {
  std::size_t offset = Number(trailer_.firstOffset - slot * layout_->rowNumberBytes);
  for (std::size_t jump = 0; jump < trailer_.jumpCount; ++jump) {
    if (reader_.U8(trailer_.jumps - jump) <= slot) offset += 256;
  }
  return offset;
}

std::size_t RowView::FixedBytesBeforeVariable() const {
  const std::size_t end = FindTrailer().slotCount == 0 ? trailer_.begin : ValueOffset(0);
  if (end < layout_->rowNumberBytes || end > trailer_.begin) {
    throw DatabaseError({}, "the row's variable data lead outside it");
  }
  return end - layout_->rowNumberBytes;
}

std::optional<std::span<const std::byte>> RowView::VariableBytes(std::size_t slot) const {
  if (slot >= FindTrailer().slotCount) return std::nullopt;
  const std::size_t begin = ValueOffset(slot);
  const std::size_t end = ValueOffset(slot + 1);
  if (begin < layout_->rowNumberBytes || begin > end || end > trailer_.begin) {
    throw DatabaseError(
        {}, "the value in variable slot " + std::to_string(slot) + " leads outside the row's data");
  }
  return reader_.Bytes(begin, end - begin);
}

void RowView::FailMask() const {
  throw DatabaseError({}, "a row of " + std::to_string(reader_.size()) + " bytes cannot have " +
                              std::to_string(columnCount_) + " columns");
}

void RowView::FailFixed(std::size_t offset, std::size_t size) {
  throw DatabaseError({}, "the row ends before its fixed value of " + std::to_string(size) +
                              " bytes at byte " + std::to_string(offset));
}

}  // namespace nimport::jet
