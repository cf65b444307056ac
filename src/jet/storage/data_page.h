#ifndef NIMPORT_JET_STORAGE_DATA_PAGE_H_
#define NIMPORT_JET_STORAGE_DATA_PAGE_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>

#include "jet/format/byte_reader.h"
#include "jet/format/jet_layout.h"
#include "jet/storage/page_cache.h"

namespace nimport::jet {

class PageFile;

// What a slot of a data page says.
struct Slot {
  std::uint16_t flags = SLOT_DELETED;  // SLOT_LIVE, SLOT_MOVED, SLOT_TARGET or SLOT_DELETED
  std::span<const std::byte> bytes;    // in the page
};

// A data page as a list of slots. Holds its page.
class DataPage {
 public:
  DataPage() = default;  // no slots

  // Throws DatabaseError naming the page unless it is a data page that belongs to `owner` and has
  // room for its slots.
  DataPage(Page page, const JetLayout& layout, std::uint32_t owner);

  // As much of a damaged data page as can be told: a type or an owner that cannot be is overlooked,
  // unless both are wrong, and slots that the page does not count rightly are counted again.
  // `isOwner` says whether a page is a table's definition. What is wrong is put into `damage`,
  // which stays empty for a sound page. Throws as the constructor where nothing can be done.
  DataPage(Page page, const JetLayout& layout, std::uint32_t owner,
           const std::function<bool(std::uint32_t)>& isOwner, std::string& damage);

  [[nodiscard]] std::uint32_t Number() const { return page_.number; }
  [[nodiscard]] std::uint32_t SlotCount() const { return slotCount_; }

  // `slot` < SlotCount(). Throws DatabaseError, without the place, for bytes outside the page's
  // room for rows.
  [[nodiscard]] Slot GetSlot(std::uint32_t slot) const {
    const std::uint16_t entry = Entry(slot);
    const std::size_t end = slot == 0 ? page_.bytes.size() : Entry(slot - 1) & SLOT_OFFSET_MASK;
    const std::size_t begin = entry & SLOT_OFFSET_MASK;
    if (begin < slotTableEnd_ || begin > end || end > page_.bytes.size()) FailSlot(begin, end);
    return {.flags = static_cast<std::uint16_t>(entry & SLOT_FLAGS_MASK),
            .bytes = page_.bytes.subspan(begin, end - begin)};
  }

 private:
  [[nodiscard]] std::uint16_t Entry(std::uint32_t slot) const {
    return ByteReader(page_.bytes).U16(slotTableOffset_ + slot * SLOT_BYTES);
  }
  // Whether the page's number of free bytes is right when it has so many slots.
  [[nodiscard]] bool FitsFreeBytes(std::size_t slotCount) const;
  void UseSlots(std::size_t slotCount);
  [[noreturn]] static void FailSlot(std::size_t begin, std::size_t end);

  Page page_;
  std::size_t slotTableOffset_ = 0;
  std::size_t slotTableEnd_ = 0;
  std::uint32_t slotCount_ = 0;
};

// The bytes of a single row that something other than a table points to: a usage map or a part of a
// long value. Throws DatabaseError naming page and slot when there is no live row.
struct OrphanRow {
  DataPage page;  // keeps the bytes
  std::span<const std::byte> bytes;
};
[[nodiscard]] OrphanRow ReadOrphanRow(PageFile& file, RowId id, std::uint32_t owner);

}  // namespace nimport::jet

#endif  // NIMPORT_JET_STORAGE_DATA_PAGE_H_
