#include "jet/data_page.h"

#include <string>
#include <utility>

#include "jet/damage.h"
#include "jet/database_error.h"

namespace nimport::jet {
namespace {

std::string OwnerText(std::uint32_t owner) {
  return owner == OWNER_LONG_VALUES ? "long values" : "page " + std::to_string(owner);
}

}  // namespace

DataPage::DataPage(Page page, const JetLayout& layout, std::uint32_t owner)
    : page_(std::move(page)), slotTableOffset_(layout.slotTableOffset) {
  const ByteReader reader(page_.bytes);
  const ErrorPlace place{.page = page_.number};
  if (const unsigned type = reader.U8(PAGE_TYPE_OFFSET); type != unsigned(PageType::Data)) {
    throw DatabaseError(place, "not a data page but of type " + std::to_string(type));
  }
  if (const std::uint32_t stored = reader.U32(DATA_PAGE_OWNER_OFFSET); stored != owner) {
    throw DatabaseError(place, "belongs to " + OwnerText(stored) + ", not to " + OwnerText(owner));
  }
  slotCount_ = reader.U16(layout.slotCountOffset);
  slotTableEnd_ = slotTableOffset_ + slotCount_ * SLOT_BYTES;
  if (slotCount_ > MAX_SLOTS_PER_PAGE || slotTableEnd_ > page_.bytes.size()) {
    throw DatabaseError(place, "claims " + std::to_string(slotCount_) + " slots");
  }
}

void DataPage::FailSlot(std::size_t begin, std::size_t end) {
  throw DatabaseError({}, "the slot's row from byte " + std::to_string(begin) + " to byte " +
                              std::to_string(end) + " does not lie in the page's room for rows");
}

LooseRow ReadLooseRow(PageFile& file, RowPointer pointer, std::uint32_t owner) {
  try {
    LooseRow row{.page = DataPage(file.Read(pointer.page, PageUse::Passing), file.Layout(), owner),
                 .bytes = {}};
    if (pointer.slot >= row.page.SlotCount()) throw DatabaseError({}, "no such slot");
    const Slot slot = row.page.GetSlot(pointer.slot);
    if (slot.flags != SLOT_LIVE) throw DatabaseError({}, "the row is deleted or moved");
    row.bytes = slot.bytes;
    return row;
  } catch (const DatabaseError& error) {
    RethrowAt(error, {.file = file.Name(), .page = pointer.page, .slot = pointer.slot});
  }
}

}  // namespace nimport::jet
