#include "jetwriter/page_builder.h"

#include <cassert>

#include "jetwriter/byte_writer.h"

namespace nimport::jetwriter {
namespace {

// One less than row pointers can tell apart, as the engine that made the format has it.
constexpr std::size_t MAX_ROWS = jet::MAX_SLOTS_PER_PAGE - 1;

}  // namespace

PageBuilder::PageBuilder(const jet::JetLayout& layout, std::uint32_t pageNumber,
                         std::uint32_t owner)
    : layout_(layout),
      pageNumber_(pageNumber),
      owner_(owner),
      bytes_(layout.pageSize, '\0'),
      lowestRow_(layout.pageSize) {}

std::size_t PageBuilder::FreeBytes() const {
  return lowestRow_ - layout_.slotTableOffset - slots_.size();
}

bool PageBuilder::HasRoomFor(std::size_t rowBytes) const {
  return rowBytes + jet::SLOT_BYTES <= FreeBytes() && slots_.size() / jet::SLOT_BYTES < MAX_ROWS;
}

std::uint32_t PageBuilder::AddRow(std::string_view row, std::uint16_t flags) {
  assert(HasRoomFor(row.size()));
  lowestRow_ -= row.size();
  bytes_.replace(lowestRow_, row.size(), row);
  const auto slot = static_cast<std::uint32_t>(slots_.size() / jet::SLOT_BYTES);
  ByteWriter entry;
  entry.U16(lowestRow_ | flags);
  slots_ += entry.View();
  return pageNumber_ << 8 | slot;
}

std::string PageBuilder::ToBytes() const {
  ByteWriter header;
  header.U8(static_cast<std::uint8_t>(jet::PageType::Data));
  header.U8(jet::PAGE_MARK);
  header.U16(FreeBytes());
  header.U32(owner_);
  header.PadTo(layout_.slotCountOffset);
  header.U16(slots_.size() / jet::SLOT_BYTES);
  header.Bytes(slots_);
  std::string page = bytes_;
  page.replace(0, header.Size(), header.View());
  return page;
}

}  // namespace nimport::jetwriter
