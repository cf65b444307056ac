#include "jet/storage/usage_map.h"

#include <bit>
#include <string>

#include "jet/database_error.h"
#include "jet/format/byte_reader.h"
#include "jet/format/jet_layout.h"
#include "jet/storage/damage.h"
#include "jet/storage/data_page.h"
#include "jet/storage/page_file.h"

namespace nimport::jet {
namespace {

class MapReader {
 public:
  explicit MapReader(PageFile& file) : file_(file) {}

  UsedPages Read(std::span<const std::byte> map) {
    const ByteReader reader(map);
    switch (const unsigned form = reader.U8(0); UsageMapForm(form)) {
      case UsageMapForm::Inline:
        AddBits(reader.U32(INLINE_MAP_FIRST_PAGE_OFFSET), reader.From(INLINE_MAP_BITS_OFFSET));
        break;
      case UsageMapForm::Reference:
        AddBitmapPages(ByteReader(reader.From(REFERENCE_MAP_PAGES_OFFSET)));
        break;
      default:
        throw DatabaseError({}, "a usage map of unknown form " + std::to_string(form));
    }
    return std::move(result_);
  }

 private:
  void AddBits(std::uint64_t firstPage, std::span<const std::byte> bits) {
    for (std::size_t i = 0; i < bits.size(); ++i) {
      for (auto byte = std::to_integer<unsigned>(bits[i]); byte != 0; byte &= byte - 1) {
        AddPage(firstPage + i * 8 + static_cast<unsigned>(std::countr_zero(byte)));
      }
    }
  }

  void AddPage(std::uint64_t page) {
    if (page < file_.PageCount()) {
      result_.pages.push_back(static_cast<std::uint32_t>(page));
    } else if (!result_.firstOutside) {
      result_.firstOutside = static_cast<std::uint32_t>(page);
    }
  }

  void AddBitmapPages(const ByteReader& numbers) {
    const std::uint64_t pagesPerBitmap = file_.Layout().PagesPerBitmapPage();
    for (std::size_t k = 0; (k + 1) * 4 <= numbers.size(); ++k) {
      // Entries for what lies beyond the end of the file may be garbage.
      if (k * pagesPerBitmap >= file_.PageCount()) break;
      const std::uint32_t number = numbers.U32(k * 4);
      if (number == 0) continue;
      const Page page = file_.Read(number);
      const ByteReader bitmap(page.bytes);
      if (bitmap.U8(PAGE_TYPE_OFFSET) != unsigned(PageType::UsageBitmap)) {
        throw DatabaseError({.page = number}, "not a page of a usage map");
      }
      AddBits(k * pagesPerBitmap, bitmap.From(BITMAP_PAGE_BITS_OFFSET));
    }
  }

  PageFile& file_;
  UsedPages result_;
};

}  // namespace

UsedPages ReadUsageMap(PageFile& file, RowId map, std::uint32_t owner) {
  const OrphanRow row = ReadOrphanRow(file, map, owner);
  try {
    return MapReader(file).Read(row.bytes);
  } catch (const DatabaseError& error) {
    RethrowAt(error, {.file = file.Name(), .page = map.Page(), .slot = map.Slot()});
  }
}

}  // namespace nimport::jet
