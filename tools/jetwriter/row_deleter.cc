#include "jetwriter/row_deleter.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <span>
#include <utility>

#include "jet/catalog/jet_catalog.h"
#include "jet/format/byte_reader.h"
#include "jet/format/file_header.h"
#include "jet/format/jet_layout.h"
#include "jet/format/rc4.h"
#include "jet/storage/row_view.h"
#include "jet/storage/stored_table.h"
#include "jetwriter/write_error.h"

namespace nimport::jetwriter {
namespace {

using jet::ByteReader;
using jet::RowId;

class FileInMemory final : public RandomAccessFile {
 public:
  explicit FileInMemory(std::vector<std::byte> bytes) : bytes_(std::move(bytes)) {}

  [[nodiscard]] const std::string& Name() const override { return name_; }
  [[nodiscard]] std::uint64_t Size() const override { return bytes_.size(); }
  [[nodiscard]] std::uint64_t ChangeStamp() const override { return 1; }
  std::size_t ReadAt(std::uint64_t offset, std::span<std::byte> buffer) const override {
    if (offset >= bytes_.size()) return 0;
    const auto begin = static_cast<std::size_t>(offset);
    const std::size_t count = std::min(buffer.size(), bytes_.size() - begin);
    std::memcpy(buffer.data(), bytes_.data() + begin, count);
    return count;
  }

 private:
  std::vector<std::byte> bytes_;
  std::string name_ = "file";
};

// The pages of a file, decoded while this lives.
class Pages {
 public:
  explicit Pages(std::vector<std::byte>& file)
      : file_(file), header_(jet::ParseFileHeader(file_)), layout_(*header_.layout) {
    Apply();
  }
  ~Pages() { Apply(); }
  Pages(const Pages&) = delete;
  Pages& operator=(const Pages&) = delete;

  [[nodiscard]] const jet::JetLayout& Layout() const { return layout_; }
  [[nodiscard]] std::span<std::byte> At(std::uint32_t page) const {
    return std::span(file_).subspan(std::size_t{page} * layout_.pageSize, layout_.pageSize);
  }
  [[nodiscard]] std::size_t SlotCount(std::uint32_t page) const {
    return ByteReader(At(page)).U16(layout_.slotCountOffset);
  }
  [[nodiscard]] std::uint16_t Entry(RowId id) const {
    return ByteReader(At(id.Page())).U16(EntryOffset(id.Slot()));
  }
  [[nodiscard]] std::size_t Begin(RowId id) const { return Entry(id) & jet::SLOT_OFFSET_MASK; }
  [[nodiscard]] std::size_t End(RowId id) const {
    return id.Slot() == 0 ? layout_.pageSize : Begin({id.packed - 1});
  }
  [[nodiscard]] std::span<std::byte> Row(RowId id) const {
    return At(id.Page()).subspan(Begin(id), End(id) - Begin(id));
  }
  void SetEntry(RowId id, std::size_t entry) const {
    SetU16(id.Page(), EntryOffset(id.Slot()), entry);
  }
  void SetU16(std::uint32_t page, std::size_t offset, std::size_t value) const {
    At(page)[offset] = static_cast<std::byte>(value & 0xFF);
    At(page)[offset + 1] = static_cast<std::byte>(value >> 8 & 0xFF);
  }

 private:
  [[nodiscard]] std::size_t EntryOffset(std::size_t slot) const {
    return layout_.slotTableOffset + slot * jet::SLOT_BYTES;
  }
  void Apply() const {
    if (header_.encodingKey == 0) return;
    for (std::uint32_t page = 1; page < file_.size() / layout_.pageSize; ++page)
      jet::ApplyRc4(header_.encodingKey ^ page, At(page));
  }

  std::vector<std::byte>& file_;
  jet::FileHeader header_;
  const jet::JetLayout& layout_;
};

// Sets or clears a page's bit in a usage map; false where the map does not reach so far.
bool SetBit(const Pages& pages, RowId map, std::uint32_t page, bool isSet) {
  const std::span<std::byte> row = pages.Row(map);
  std::span<std::byte> bits;
  std::uint32_t first = 0;
  if (jet::UsageMapForm(std::to_integer<unsigned>(row[0])) == jet::UsageMapForm::Inline) {
    first = ByteReader(row).U32(jet::INLINE_MAP_FIRST_PAGE_OFFSET);
    bits = row.subspan(jet::INLINE_MAP_BITS_OFFSET);
  } else {
    const std::uint32_t range = page / pages.Layout().PagesPerBitmapPage();
    const std::size_t offset = jet::REFERENCE_MAP_PAGES_OFFSET + std::size_t{range} * 4;
    const std::uint32_t bitmap = offset + 4 > row.size() ? 0 : ByteReader(row).U32(offset);
    if (bitmap == 0) return false;
    first = range * pages.Layout().PagesPerBitmapPage();
    bits = pages.At(bitmap).subspan(jet::BITMAP_PAGE_BITS_OFFSET);
  }
  if (page < first || (page - first) / 8 >= bits.size()) return false;
  std::byte& byte = bits[(page - first) / 8];
  const auto bit = std::byte{1} << ((page - first) % 8);
  byte = isSet ? byte | bit : byte & ~bit;
  return true;
}

class RowDeleter {
 public:
  RowDeleter(std::vector<std::byte>& file, const Deletion& deletion)
      : catalog_(std::make_unique<FileInMemory>(file), converter_,
                 {.textCodePage = text::CODE_PAGE_UTF8}),
        table_(catalog_.FindTable(deletion.table)),
        deletion_(deletion),
        pages_(file) {
    if (!table_) throw WriteError("there is no table \"" + deletion.table + "\"");
  }

  std::size_t Run() {
    const auto column = table_->FindColumn(deletion_.column);
    if (!column) throw WriteError("there is no column \"" + deletion_.column + "\"");
    std::vector<RowId> rows;
    jet::StoredScan scan(*table_);
    while (scan.Next()) {
      const auto number = scan.Row().GetInteger(*column);
      if (number && deletion_.isMeant(*number)) rows.push_back(scan.Row().Id());
    }
    for (const RowId row : rows)
      Delete(row);
    LowerRowCount(rows.size());
    return rows.size();
  }

 private:
  void Delete(RowId id) {
    RowId place = id;
    if ((pages_.Entry(id) & jet::SLOT_FLAGS_MASK) == jet::SLOT_MOVED) {
      place = {ByteReader(pages_.Row(id)).U32(0)};
    }
    for (const RowId part : LongValueParts(place))
      DeleteSlot(part);
    if (place != id) DeleteSlot(place);
    DeleteSlot(id);
  }

  [[nodiscard]] std::vector<RowId> LongValueParts(RowId id) const {
    std::vector<RowId> parts;
    const jet::RowView row(pages_.Layout(), pages_.Row(id));
    for (const jet::Column& column : table_->Columns()) {
      if (column.type != jet::ColumnType::Memo && column.type != jet::ColumnType::Ole) continue;
      if (!row.IsPresent(column.id)) continue;
      const ByteReader descriptor(row.VariableBytes(column.variableSlot).value());
      const std::uint32_t form = descriptor.U32(0);
      RowId part{descriptor.U32(jet::LONG_VALUE_POINTER_OFFSET)};
      if ((form & jet::LONG_VALUE_INLINE) != 0) continue;
      while (!part.IsNone()) {
        parts.push_back(part);
        const bool isSingle = (form & jet::LONG_VALUE_SINGLE) != 0;
        part = isSingle ? RowId{} : RowId{ByteReader(pages_.Row(part)).U32(0)};
      }
    }
    return parts;
  }

  void DeleteSlot(RowId id) {
    const std::uint32_t page = id.Page();
    if (deletion_.bytes == DeletedBytes::Stay) {
      pages_.SetEntry(id, pages_.Entry(id) | jet::SLOT_DELETED);
    } else {
      MoveUp(id);
    }
    for (std::uint32_t slot = 0; slot < pages_.SlotCount(page); ++slot) {
      const std::uint16_t flags = pages_.Entry({page << 8 | slot}) & jet::SLOT_FLAGS_MASK;
      if (flags != jet::SLOT_DELETED) return;
    }
    Release(page);
  }

  // The rows below move to where the row was; what they leave stays as it is.
  void MoveUp(RowId id) const {
    const std::uint32_t page = id.Page();
    const auto last = static_cast<std::uint32_t>(pages_.SlotCount(page) - 1);
    const std::size_t lowest = pages_.Begin({page << 8 | last});
    const std::size_t begin = pages_.Begin(id);
    const std::size_t size = pages_.End(id) - begin;
    std::byte* bytes = pages_.At(page).data();
    std::memmove(bytes + lowest + size, bytes + lowest, begin - lowest);
    pages_.SetEntry(id, (begin + size) | jet::SLOT_DELETED);
    for (RowId next{id.packed + 1}; next.Slot() <= last && next.Page() == page; ++next.packed)
      pages_.SetEntry(next, pages_.Entry(next) + size);
    const std::size_t free = ByteReader(pages_.At(page)).U16(jet::DATA_PAGE_FREE_BYTES_OFFSET);
    pages_.SetU16(page, jet::DATA_PAGE_FREE_BYTES_OFFSET, free + size);
  }

  // In Jet 4 files such pages have a type of their own, in Jet 3 files they stay what they were.
  void Release(std::uint32_t page) {
    if (pages_.Layout().version == jet::JET4.version) {
      pages_.At(page)[jet::PAGE_TYPE_OFFSET] = std::byte{unsigned(jet::PageType::ReleasedData)};
    }
    const jet::StoredDefinition& definition = table_->Definition();
    SetBit(pages_, definition.ownedPagesMap, page, false);
    for (const RowId map : definition.otherMaps)
      SetBit(pages_, map, page, false);
    if (!SetBit(pages_, {jet::GLOBAL_MAP_PAGE << 8}, page, true)) {
      throw WriteError("the map of free pages ends before page " + std::to_string(page));
    }
  }

  void LowerRowCount(std::size_t deleted) const {
    const std::uint32_t page = table_->Definition().page;
    const std::size_t offset = pages_.Layout().definition.rowCount;
    const auto count =
        static_cast<std::uint32_t>(ByteReader(pages_.At(page)).U32(offset) - deleted);
    pages_.SetU16(page, offset, count & 0xFFFF);
    pages_.SetU16(page, offset + 2, count >> 16);
  }

  const text::CodePageConverter converter_{};
  jet::JetCatalog catalog_;  // of the file as it was
  std::shared_ptr<const jet::StoredTable> table_;
  const Deletion& deletion_;
  Pages pages_;
};

}  // namespace

std::size_t DeleteRows(std::vector<std::byte>& file, const Deletion& deletion) {
  return RowDeleter(file, deletion).Run();
}

}  // namespace nimport::jetwriter
