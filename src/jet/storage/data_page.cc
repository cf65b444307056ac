#include "jet/storage/data_page.h"

#include <algorithm>
#include <string>
#include <utility>

#include "jet/database_error.h"
#include "jet/storage/damage.h"
#include "jet/storage/page_file.h"

namespace nimport::jet {
namespace {

std::string OwnerText(std::uint32_t owner) {
  return owner == OWNER_LONG_VALUES ? "long values" : "page " + std::to_string(owner);
}

bool IsOtherPageType(unsigned type) {
  switch (PageType(type)) {
    case PageType::TableDefinition:
    case PageType::IndexNode:
    case PageType::IndexLeaf:
    case PageType::UsageBitmap:
    case PageType::ReleasedDefinition:
    case PageType::ReleasedData:
      return true;
    case PageType::FileHeader:
    case PageType::Data:
      break;
  }
  return false;
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
  UseSlots(reader.U16(layout.slotCountOffset));
  if (slotCount_ > MAX_SLOTS_PER_PAGE || slotTableEnd_ > page_.bytes.size()) {
    throw DatabaseError(place, "claims " + std::to_string(slotCount_) + " slots");
  }
}

DataPage::DataPage(Page page, const JetLayout& layout, std::uint32_t owner,
                   const std::function<bool(std::uint32_t)>& isOwner, std::string& damage)
    : page_(std::move(page)), slotTableOffset_(layout.slotTableOffset) {
  const ByteReader reader(page_.bytes);
  const ErrorPlace place{.page = page_.number};
  const unsigned type = reader.U8(PAGE_TYPE_OFFSET);
  const std::uint32_t stored = reader.U32(DATA_PAGE_OWNER_OFFSET);
  const bool isData = type == unsigned(PageType::Data);
  if (!isData) damage = "not a data page but of type " + std::to_string(type);
  if (stored != owner) damage = "belongs to " + OwnerText(stored) + ", not to " + OwnerText(owner);
  // Pages of other types may have the same owner at the same place; others' pages must not be read.
  const bool mayBeOurs = stored == owner ? !IsOtherPageType(type) : isData && !isOwner(stored);
  if (!mayBeOurs) throw DatabaseError(place, damage);

  const std::size_t claimed = reader.U16(layout.slotCountOffset);
  UseSlots(claimed);
  if (FitsFreeBytes(claimed)) return;
  damage = "claims " + std::to_string(claimed) + " slots, which do not fit its free bytes";
  const std::size_t room = (page_.bytes.size() - slotTableOffset_) / SLOT_BYTES;
  const std::size_t most = std::min(MAX_SLOTS_PER_PAGE, room);
  for (std::size_t count = most; count > 0; --count) {
    if (!FitsFreeBytes(count)) continue;
    UseSlots(count);
    return;
  }
  if (claimed > most) throw DatabaseError(place, damage);
}

bool DataPage::FitsFreeBytes(std::size_t slotCount) const {
  const std::size_t tableEnd = slotTableOffset_ + slotCount * SLOT_BYTES;
  if (slotCount > MAX_SLOTS_PER_PAGE || tableEnd > page_.bytes.size()) return false;
  const auto last = static_cast<std::uint32_t>(slotCount - 1);
  const std::size_t lowest = slotCount == 0 ? page_.bytes.size() : Entry(last) & SLOT_OFFSET_MASK;
  return lowest == tableEnd + ByteReader(page_.bytes).U16(DATA_PAGE_FREE_BYTES_OFFSET);
}

void DataPage::UseSlots(std::size_t slotCount) {
  slotCount_ = static_cast<std::uint32_t>(slotCount);
  slotTableEnd_ = slotTableOffset_ + slotCount * SLOT_BYTES;
}

void DataPage::FailSlot(std::size_t begin, std::size_t end) {
  throw DatabaseError({}, "the slot's row from byte " + std::to_string(begin) + " to byte " +
                              std::to_string(end) + " does not lie in the page's room for rows");
}

OrphanRow ReadOrphanRow(PageFile& file, RowId id, std::uint32_t owner) {
  try {
    OrphanRow row{.page = DataPage(file.Read(id.Page(), ReadHint::Once), file.Layout(), owner),
                  .bytes = {}};
    if (id.Slot() >= row.page.SlotCount()) throw DatabaseError({}, "no such slot");
    const Slot slot = row.page.GetSlot(id.Slot());
    if (slot.flags != SLOT_LIVE) throw DatabaseError({}, "the row is deleted or moved");
    row.bytes = slot.bytes;
    return row;
  } catch (const DatabaseError& error) {
    RethrowAt(error, {.file = file.Name(), .page = id.Page(), .slot = id.Slot()});
  }
}

}  // namespace nimport::jet
