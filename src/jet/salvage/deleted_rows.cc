#include "jet/salvage/deleted_rows.h"

#include <algorithm>
#include <utility>

#include "jet/database_error.h"
#include "jet/format/byte_reader.h"
#include "jet/format/jet_layout.h"
#include "jet/storage/page_file.h"
#include "jet/storage/row_view.h"
#include "jet/storage/stored_table.h"
#include "jet/storage/value_decoder.h"
#include "text/ascii.h"

namespace nimport::jet {
namespace {

// Rows of a table have few shapes: one for each time that columns were added.
constexpr std::size_t MAX_SHAPES = 8;
// Pages that are looked at for the shapes of their rows.
constexpr std::size_t WITNESS_PAGES = 64;
// Between the data of a Jet 4 row and its trailer a few rows have up to so many bytes.
constexpr std::size_t MAX_PADDING_BYTES = 4;
// Bytes of a page that look like a row's end without being one are few; telling so takes an
// exception each.
constexpr std::size_t MAX_ERRORS_PER_PAGE = 64;
// Of all long values together, in sizes of the file: each is asked for a few times.
constexpr std::uint64_t CHAIN_BUDGET = 32;

bool IsLongValue(const Column& column) {
  return column.type == ColumnType::Memo || column.type == ColumnType::Ole;
}

// A data page, a released one too, whatever its slots say.
class PageSlots {
 public:
  // Empty for a page of another type, or one that cannot have its slots.
  static std::optional<PageSlots> Read(Page page, const JetLayout& layout) {
    const ByteReader reader(page.bytes);
    const unsigned type = reader.U8(PAGE_TYPE_OFFSET);
    if (type != unsigned(PageType::Data) && type != unsigned(PageType::ReleasedData)) return {};
    PageSlots slots;
    slots.count_ = reader.U16(layout.slotCountOffset);
    slots.tableOffset_ = layout.slotTableOffset;
    slots.page_ = std::move(page);
    if (slots.count_ > MAX_SLOTS_PER_PAGE || slots.TableEnd() > slots.page_.bytes.size()) return {};
    return slots;
  }

  [[nodiscard]] std::uint32_t Owner() const {
    return ByteReader(page_.bytes).U32(DATA_PAGE_OWNER_OFFSET);
  }
  [[nodiscard]] std::span<const std::byte> Bytes() const { return page_.bytes; }
  [[nodiscard]] std::size_t Count() const { return count_; }
  [[nodiscard]] std::uint16_t Flags(std::size_t slot) const {
    return static_cast<std::uint16_t>(Entry(slot) & SLOT_FLAGS_MASK);
  }
  [[nodiscard]] std::size_t Begin(std::size_t slot) const { return Entry(slot) & SLOT_OFFSET_MASK; }
  // In the page; empty where they are not within its room for rows.
  [[nodiscard]] std::span<const std::byte> Row(std::size_t slot) const {
    const std::size_t begin = Begin(slot);
    const std::size_t end = slot == 0 ? page_.bytes.size() : Begin(slot - 1);
    if (begin < TableEnd() || begin > end || end > page_.bytes.size()) return {};
    return page_.bytes.subspan(begin, end - begin);
  }
  // The room between the slots and the lowest row.
  [[nodiscard]] std::size_t FreeBegin() const { return TableEnd(); }
  [[nodiscard]] std::size_t FreeEnd() const {
    std::size_t end = page_.bytes.size();
    for (std::size_t slot = 0; slot < count_; ++slot)
      end = std::min(end, Begin(slot));
    return end;
  }

 private:
  [[nodiscard]] std::uint16_t Entry(std::size_t slot) const {
    return ByteReader(page_.bytes).U16(tableOffset_ + slot * SLOT_BYTES);
  }
  [[nodiscard]] std::size_t TableEnd() const { return tableOffset_ + count_ * SLOT_BYTES; }

  Page page_;
  std::size_t tableOffset_ = 0;
  std::size_t count_ = 0;
};

std::optional<PageSlots> ReadSlots(PageFile& file, std::uint32_t page, std::uint32_t follow = 0) {
  try {
    return PageSlots::Read(file.Read(page, ReadHint::Once, follow), file.Layout());
  } catch (const DatabaseError&) {
    return {};  // whoever asks for what lives there says so
  }
}

// What rows of a table with variable columns have in common that were written while it had the same
// columns.
struct RowShape {
  std::size_t columnCount = 0;
  std::size_t variableSlots = 0;
  std::size_t fixedBytes = 0;
  friend bool operator==(const RowShape&, const RowShape&) = default;
};

// Which bytes can be a row of a table.
class RowJudge {
 public:
  explicit RowJudge(const StoredTable& table) : table_(table) {
    for (const Column& column : table.Columns()) {
      if (!column.isFixed) hasVariable_ = true;
    }
  }

  [[nodiscard]] bool HasVariable() const { return hasVariable_; }
  [[nodiscard]] const std::vector<RowShape>& Shapes() const { return shapes_; }

  // From rows that live.
  void Learn(std::span<const std::byte> bytes) {
    const auto shape = ShapeOf(bytes);
    if (shape && shapes_.size() < MAX_SHAPES && !Knows(*shape)) shapes_.push_back(*shape);
  }
  // Where no row lives: as the definition has it.
  void LearnFromDefinition() {
    const StoredDefinition& definition = table_.Definition();
    RowShape shape{.columnCount = definition.columnHighWater,
                   .variableSlots = definition.variableSlots};
    for (const Column& column : definition.columns) {
      if (!column.isFixed || column.type == ColumnType::Boolean) continue;
      shape.fixedBytes = std::max<std::size_t>(shape.fixedBytes,
                                               std::size_t{column.fixedOffset} + column.sizeBytes);
    }
    if (!Knows(shape)) shapes_.push_back(shape);
  }

  // Whether the bytes are a row as far as they can tell; `mustBeKnown`: of a shape that rows of the
  // table have.
  [[nodiscard]] bool IsRow(std::span<const std::byte> bytes, bool mustBeKnown) const {
    const auto shape = ShapeOf(bytes);
    return shape && (!mustBeKnown || Knows(*shape));
  }

 private:
  [[nodiscard]] bool Knows(const RowShape& shape) const {
    return std::ranges::find(shapes_, shape) != shapes_.end();
  }

  // Empty for what is no row of the table.
  [[nodiscard]] std::optional<RowShape> ShapeOf(std::span<const std::byte> bytes) const {
    const StoredDefinition& definition = table_.Definition();
    if (bytes.size() < ROW_POINTER_BYTES) return {};
    try {
      const RowView view(table_.Layout(), bytes);
      RowShape shape{.columnCount = view.ColumnCount()};
      if (shape.columnCount == 0 || shape.columnCount > definition.columnHighWater) return {};
      if (!HasCleanMask(bytes, shape.columnCount)) return {};
      if (hasVariable_) {
        shape.variableSlots = view.VariableSlotCount();
        shape.fixedBytes = view.FixedBytesBeforeVariable();
        if (shape.variableSlots > definition.variableSlots) return {};
        for (std::size_t slot = 0; slot < shape.variableSlots; ++slot)
          (void)view.VariableBytes(slot);  // throws where the offsets are out of order
      } else {
        shape.fixedBytes = view.FixedBytesAlone();
      }
      // A row has room for all columns that it knows, null or not.
      for (const Column& column : definition.columns) {
        if (column.id >= shape.columnCount) continue;
        if (!column.isFixed && column.variableSlot >= shape.variableSlots) return {};
        if (!column.isFixed || column.type == ColumnType::Boolean) continue;
        if (std::size_t{column.fixedOffset} + column.sizeBytes > shape.fixedBytes) return {};
      }
      return shape;
    } catch (const DatabaseError&) {
      return {};
    }
  }

  // The bits after the last column are zero in all rows.
  static bool HasCleanMask(std::span<const std::byte> bytes, std::size_t columnCount) {
    const std::size_t used = columnCount % 8;
    return used == 0 || (std::to_integer<unsigned>(bytes.back()) >> used) == 0;
  }

  const StoredTable& table_;
  bool hasVariable_ = false;
  std::vector<RowShape> shapes_;
};

// Looks for rows where no slot says where they begin and end. The end of a row tells most of it:
// the offset of the first variable value and the number of such values, which rows of one shape
// share, stand side by side there, and the end of the data tells how far above the row begins.
class RowCarver {
 public:
  RowCarver(const RowJudge& judge, const JetLayout& layout) : judge_(judge), layout_(layout) {}

  // Calls `found(begin, size)` for each row that lies between two places of the page.
  template <typename Found>
  void Carve(std::span<const std::byte> page, std::size_t begin, std::size_t end,
             const Found& found) {
    if (!judge_.HasVariable() || begin >= end) return;
    page_ = ByteReader(page);
    begin_ = begin;
    errorsLeft_ = MAX_ERRORS_PER_PAGE;
    for (std::size_t at = end; at > begin;) {
      const std::optional<std::size_t> start = FindRowEndingAt(at);
      if (start) {
        found(*start, at - *start);
        at = *start;
      } else {
        --at;
      }
    }
  }

 private:
  [[nodiscard]] unsigned Number(std::size_t offset) const {
    return layout_.rowNumberBytes == 1 ? page_.U8(offset) : page_.U16(offset);
  }

  [[nodiscard]] std::optional<std::size_t> FindRowEndingAt(std::size_t end) {
    for (const RowShape& shape : judge_.Shapes()) {
      if (const auto start = FindStart(shape, end)) return start;
    }
    return {};
  }

  [[nodiscard]] std::optional<std::size_t> FindStart(const RowShape& shape, std::size_t end) {
    const std::size_t width = layout_.rowNumberBytes;
    const std::size_t tail = (shape.columnCount + 7) / 8 + width;
    const std::size_t least = tail + (shape.variableSlots + 1) * width + shape.fixedBytes + width;
    if (shape.variableSlots == 0 || end - begin_ < least) return {};
    if (Number(end - tail) != shape.variableSlots) return {};
    const std::size_t most = layout_.hasJumpTable ? layout_.maxRowBytes / 256 + 1 : 0;
    for (std::size_t jumps = 0; jumps <= most; ++jumps) {
      if (const auto start = FindStart(shape, end, tail, jumps)) return start;
    }
    return {};
  }

  [[nodiscard]] std::optional<std::size_t> FindStart(const RowShape& shape, std::size_t end,
                                                     std::size_t tail, std::size_t jumps) {
    const std::size_t width = layout_.rowNumberBytes;
    const std::size_t above = tail + jumps + (shape.variableSlots + 1) * width;
    if (end - begin_ < above) return {};
    const unsigned mask = width == 1 ? 0xFF : 0xFFFF;
    const std::size_t firstOffset = end - tail - jumps - width;
    if (Number(firstOffset) != ((shape.fixedBytes + width) & mask)) return {};
    const std::size_t trailer = end - above;
    const std::size_t dataEnd = Number(trailer);
    const std::size_t most = layout_.hasJumpTable ? 0 : MAX_PADDING_BYTES;
    // What one byte cannot hold of it the row's length tells.
    for (std::size_t more = jumps == 0 ? 0 : jumps - 1; more <= jumps; ++more) {
      const std::size_t dataBytes = dataEnd + 256 * more;
      for (std::size_t padding = 0; padding <= most; ++padding) {
        if (trailer - begin_ < dataBytes + padding) break;
        const std::size_t start = trailer - padding - dataBytes;
        if (layout_.hasJumpTable && (end - start - 1) / 256 != jumps) continue;
        if (Number(start) != shape.columnCount || errorsLeft_ == 0) continue;
        if (judge_.IsRow(page_.Bytes(start, end - start), true)) return start;
        --errorsLeft_;
      }
    }
    return {};
  }

  const RowJudge& judge_;
  const JetLayout& layout_;
  ByteReader page_;
  std::size_t begin_ = 0;
  std::size_t errorsLeft_ = 0;
};

// One part of a long value that a deleted row names.
struct LongValuePart {
  PageSlots page;
  std::span<const std::byte> bytes;
  bool isLive = false;     // its slot is not marked as deleted
  bool isGuessed = false;  // its slot has no bytes any more; they lie where its page had them
};

}  // namespace

// Goes through the pages of one table.
class DeletedRows::Finder {
 public:
  explicit Finder(DeletedRows& rows)
      : rows_(rows),
        data_(rows.data_),
        table_(*rows.source_.table),
        judge_(table_),
        carver_(judge_, table_.Layout()) {}

  void Run() {
    LearnShapes();
    const std::vector<std::uint32_t>& owned = table_.OwnedPages().pages;
    for (std::size_t i = 0; i < owned.size(); ++i) {
      data_.CheckInterruption();
      const auto follow =
          static_cast<std::uint32_t>(i + 1 < owned.size() && owned[i + 1] == owned[i] + 1);
      const auto page = ReadSlots(data_.file_, owned[i], follow);
      if (!page || page->Owner() != table_.Definition().page) continue;
      LookAtOwn(owned[i], *page);
    }
    AddOrphanTargets();
    const auto freed = data_.freedPages_.find(table_.Definition().page);
    if (freed == data_.freedPages_.end()) return Sort();
    for (const std::uint32_t number : freed->second) {
      data_.CheckInterruption();
      if (const auto page = ReadSlots(data_.file_, number)) LookAtFreed(number, *page);
    }
    Sort();
  }

 private:
  void LearnShapes() {
    const std::vector<std::uint32_t>& owned = table_.OwnedPages().pages;
    const std::size_t step = owned.size() / WITNESS_PAGES + 1;
    for (std::size_t i = 0; i < owned.size(); i += step) {
      const auto page = ReadSlots(data_.file_, owned[i]);
      if (!page || page->Owner() != table_.Definition().page) continue;
      for (std::size_t slot = 0; slot < page->Count(); ++slot) {
        const std::uint16_t flags = page->Flags(slot);
        if (flags == SLOT_LIVE || flags == SLOT_TARGET) judge_.Learn(page->Row(slot));
      }
    }
    judge_.LearnFromDefinition();
  }

  void LookAtOwn(std::uint32_t number, const PageSlots& page) {
    for (std::size_t slot = 0; slot < page.Count(); ++slot) {
      const std::span<const std::byte> bytes = page.Row(slot);
      const RowId id{number << 8 | static_cast<std::uint32_t>(slot)};
      switch (page.Flags(slot)) {
        case SLOT_DELETED:
          if (bytes.empty()) ++rows_.emptySlots_;
          if (judge_.IsRow(bytes, false)) Add(number, page, bytes, DeletedPlace::Slot);
          break;
        case SLOT_MOVED:
          if (bytes.size() >= ROW_POINTER_BYTES) moves_.push_back(ByteReader(bytes).U32(0));
          break;
        case SLOT_TARGET:
          targets_.push_back(id.packed);
          break;
        default:
          break;
      }
    }
    CarveFreeRoom(number, page);
  }

  // Slots of a page that was given back say what they said before, or that all rows are deleted.
  void LookAtFreed(std::uint32_t number, const PageSlots& page) {
    for (std::size_t slot = 0; slot < page.Count(); ++slot) {
      const std::span<const std::byte> bytes = page.Row(slot);
      if (judge_.IsRow(bytes, true)) Add(number, page, bytes, DeletedPlace::FreedPage);
    }
    CarveFreeRoom(number, page);
  }

  void CarveFreeRoom(std::uint32_t number, const PageSlots& page) {
    carver_.Carve(page.Bytes(), page.FreeBegin(), page.FreeEnd(),
                  [&](std::size_t begin, std::size_t size) {
                    Add(number, page, page.Bytes().subspan(begin, size), DeletedPlace::FreeRoom);
                  });
  }

  // Rows that were moved, and the pointer to them is gone.
  void AddOrphanTargets() {
    std::ranges::sort(moves_);
    for (const std::uint32_t packed : targets_) {
      const RowId id{packed};
      if (std::ranges::binary_search(moves_, packed)) continue;
      const auto page = ReadSlots(data_.file_, id.Page());
      if (!page || id.Slot() >= page->Count()) continue;
      const std::span<const std::byte> bytes = page->Row(id.Slot());
      if (judge_.IsRow(bytes, false)) Add(id.Page(), *page, bytes, DeletedPlace::Slot);
    }
  }

  void Add(std::uint32_t number, const PageSlots& page, std::span<const std::byte> bytes,
           DeletedPlace place) {
    rows_.rows_.push_back({.page = number,
                           .begin = static_cast<std::uint16_t>(bytes.data() - page.Bytes().data()),
                           .size = static_cast<std::uint16_t>(bytes.size()),
                           .place = place});
  }

  void Sort() {
    std::ranges::stable_sort(rows_.rows_, {}, &FoundRow::page);
    rows_.rows_.shrink_to_fit();
  }

  DeletedRows& rows_;
  DeletedData& data_;
  const StoredTable& table_;
  RowJudge judge_;
  RowCarver carver_;
  std::vector<std::uint32_t> moves_;    // where moved rows went
  std::vector<std::uint32_t> targets_;  // rows that were moved
};

std::optional<std::size_t> DeletedRows::FindColumn(std::string_view name) const {
  for (std::size_t i = 0; i < source_.columns.size(); ++i) {
    if (text::EqualsIgnoringCase(source_.columns[i].name, name)) return i;
  }
  return {};
}

DeletedValue DeletedRows::Get(std::size_t row, std::size_t column) const {
  const FoundRow& found = rows_[row];
  const StoredTable& table = *source_.table;
  const Column& definition = table.Columns()[column];
  DeletedValue result;
  try {
    const Page page = data_.file_.Read(found.page);
    const RowView view(table.Layout(), page.bytes.subspan(found.begin, found.size));
    if (!IsLongValue(definition)) {
      std::unique_ptr<DatabaseError> cut;
      result.value = DecodeValue(view, definition, data_.file_, table.Texts(), cut);
      return result;
    }
    if (!view.IsPresent(definition.id)) return result;
    const auto descriptor = view.VariableBytes(definition.variableSlot);
    if (!descriptor) return result;
    const bool isText = definition.type == ColumnType::Memo;
    std::vector<std::byte> bytes = data_.ReadLongValue(*descriptor, isText, result.lost);
    if (bytes.empty() && !result.lost.empty()) return result;
    if (isText) {
      result.value = Text{.bytes = table.Texts().Decode(bytes)};
    } else {
      result.value = Binary{.bytes = std::move(bytes)};
    }
  } catch (const Interrupted&) {
    throw;
  } catch (const DatabaseError& error) {
    result.value = {};
    result.lost = error.reason();
  }
  return result;
}

DeletedData::DeletedData(PageFile& file, std::vector<DeletedSource> sources,
                         const std::atomic<bool>* interruption)
    : file_(file),
      sources_(std::move(sources)),
      interruption_(interruption),
      isOwned_(file.PageCount()),
      chainBytesLeft_(CHAIN_BUDGET * file.SizeBytes()) {
  for (const DeletedSource& source : sources_) {
    for (const std::uint32_t page : source.table->OwnedPages().pages)
      isOwned_[page] = true;
  }
  FindFreedPages();
}

DeletedData::~DeletedData() = default;

void DeletedData::CheckInterruption() const {
  if (interruption_ != nullptr && *interruption_) throw Interrupted({.file = file_.Name()});
}

void DeletedData::FindFreedPages() {
  const std::uint32_t count = file_.PageCount();
  for (std::uint32_t number = 1; number < count; ++number) {
    CheckInterruption();
    if (isOwned_[number]) continue;
    const auto page = ReadSlots(file_, number, count - number - 1);
    if (!page || page->Owner() == OWNER_LONG_VALUES) continue;
    freedPages_[page->Owner()].push_back(number);
  }
}

const DeletedRows* DeletedData::FindRows(std::string_view table) {
  const auto source = std::ranges::find_if(sources_, [&](const DeletedSource& candidate) {
    return text::EqualsIgnoringCase(candidate.name, table);
  });
  if (source == sources_.end()) return nullptr;
  std::unique_ptr<DeletedRows>& rows = rows_[&*source];
  if (!rows) {
    std::unique_ptr<DeletedRows> found(new DeletedRows(*this, *source));
    DeletedRows::Finder(*found).Run();
    rows = std::move(found);
  }
  return rows.get();
}

const std::vector<std::uint32_t>& DeletedData::LivingLongValues() {
  if (!livingLongValues_) {
    livingLongValues_.emplace();
    for (const DeletedSource& source : sources_)
      AddLivingLongValues(*source.table);
    std::ranges::sort(*livingLongValues_);
  }
  return *livingLongValues_;
}

void DeletedData::AddLivingLongValues(const StoredTable& table) {
  std::vector<const Column*> columns;
  for (const Column& column : table.Columns()) {
    if (IsLongValue(column) && !column.isFixed) columns.push_back(&column);
  }
  if (columns.empty()) return;
  const auto add = [&](const RowView& row) {
    for (const Column* column : columns) {
      if (!row.IsPresent(column->id)) continue;
      const auto descriptor = row.VariableBytes(column->variableSlot);
      if (!descriptor || descriptor->size() < LONG_VALUE_DESCRIPTOR_BYTES) continue;
      const ByteReader reader(*descriptor);
      if ((reader.U32(0) & LONG_VALUE_INLINE) != 0) continue;
      livingLongValues_->push_back(reader.U32(LONG_VALUE_POINTER_OFFSET));
    }
  };
  for (const std::uint32_t number : table.OwnedPages().pages) {
    CheckInterruption();
    const auto page = ReadSlots(file_, number);
    if (!page) continue;
    for (std::size_t slot = 0; slot < page->Count(); ++slot) {
      const std::uint16_t flags = page->Flags(slot);
      if (flags != SLOT_LIVE && flags != SLOT_TARGET) continue;
      try {
        add(RowView(table.Layout(), page->Row(slot)));
      } catch (const DatabaseError&) {
        // A damaged row has no long values that anybody reads.
      }
    }
  }
}

namespace {

// Reads what a deleted row's long value has left.
class LongValueSalvager {
 public:
  LongValueSalvager(PageFile& file, const std::vector<std::uint32_t>& living)
      : file_(file), living_(living) {}

  std::vector<std::byte> ReadSingle(RowId pointer, std::size_t length, bool isText) const {
    const LongValuePart part = FindPart(pointer, length);
    if (part.bytes.size() != length) {
      throw DatabaseError({}, "where its text lay is something else now");
    }
    // Where the bytes of a slot are gone, those at the end of its page may be of a value that had
    // the page before or after; only a mark at the right place tells.
    const bool isBorneOut = isText && HasCompressionMark(part.bytes) && !HasZeroRun(part.bytes);
    if (part.isGuessed && !isBorneOut) FailReorganised(pointer);
    return {part.bytes.begin(), part.bytes.end()};
  }

  // Appends to `value` the parts up to the first one that cannot be the value's; throws there.
  void ReadChain(RowId pointer, std::uint32_t stamp, std::size_t length, bool isText,
                 std::vector<std::byte>& value) const {
    bool isFirst = true;
    bool isLive = false;
    while (value.size() < length) {
      const std::size_t wanted = std::min(file_.Layout().chainPartDataBytes, length - value.size());
      const LongValuePart part = FindPart(pointer, CHAIN_PART_HEADER_BYTES + wanted);
      if (isFirst && !HasStamp(part.page, stamp)) {
        throw DatabaseError({}, "the pages of its text hold another one now");
      }
      if (isFirst) isLive = part.isLive;
      if (part.isLive != isLive) {
        throw DatabaseError({}, "page " + std::to_string(pointer.Page()) +
                                    " of its text is in use for something else");
      }
      const ByteReader reader(part.bytes);
      const RowId next{reader.U32(0)};
      const auto data = reader.From(CHAIN_PART_HEADER_BYTES);
      const bool isLast = data.size() >= length - value.size();
      // The last part says so: in any other place than its own no zeros would stand.
      const bool isCleared = isText && part.isGuessed && HasZeroRun(data);
      if (data.empty() || next.IsNone() != isLast || isCleared) {
        throw DatabaseError(
            {}, "page " + std::to_string(pointer.Page()) + " of its text was written over");
      }
      const auto taken = data.first(std::min(data.size(), length - value.size()));
      value.insert(value.end(), taken.begin(), taken.end());
      pointer = next;
      isFirst = false;
    }
  }

 private:
  // `usualBytes`: what the part has if its page holds nothing else.
  [[nodiscard]] LongValuePart FindPart(RowId pointer, std::size_t usualBytes) const {
    const std::string name = "page " + std::to_string(pointer.Page());
    if (pointer.Page() == 0 || pointer.Page() >= file_.PageCount()) {
      throw DatabaseError({}, "its text leads to " + name + ", which the file does not have");
    }
    auto page = PageSlots::Read(file_.Read(pointer.Page(), ReadHint::Once), file_.Layout());
    if (!page || page->Owner() != OWNER_LONG_VALUES || pointer.Slot() >= page->Count()) {
      throw DatabaseError({}, name + ", where its text lay, is in use for something else");
    }
    if (std::ranges::binary_search(living_, pointer.packed)) {
      throw DatabaseError({}, name + ", where its text lay, holds a text that lives");
    }
    LongValuePart part{.page = *std::move(page), .bytes = {}};
    part.isLive = part.page.Flags(pointer.Slot()) == SLOT_LIVE;
    part.bytes = part.page.Row(pointer.Slot());
    if (!part.bytes.empty()) return part;
    const std::span<const std::byte> all = part.page.Bytes();
    const std::size_t room = all.size() - part.page.FreeBegin();
    if (part.isLive || part.page.Count() != 1 || usualBytes > room) {
      FailReorganised(pointer);
    }
    part.isGuessed = true;
    part.bytes = all.last(usualBytes);
    return part;
  }

  [[noreturn]] static void FailReorganised(RowId pointer) {
    throw DatabaseError({}, "page " + std::to_string(pointer.Page()) +
                                ", where its text lay, was put together without it");
  }

  [[nodiscard]] bool HasStamp(const PageSlots& page, std::uint32_t stamp) const {
    if (file_.Layout().slotCountOffset < STAMP_OFFSET_JET4 + 4) return true;
    return ByteReader(page.Bytes()).U32(STAMP_OFFSET_JET4) == stamp;
  }

  [[nodiscard]] static bool HasZeroRun(std::span<const std::byte> bytes) {
    return std::search_n(bytes.begin(), bytes.end(), ZERO_RUN_BYTES, std::byte{0}) != bytes.end();
  }

  [[nodiscard]] bool HasCompressionMark(std::span<const std::byte> bytes) const {
    if (file_.Layout().text != TextForm::Utf16Le || bytes.size() < COMPRESSION_MARK.size()) {
      return false;
    }
    return std::to_integer<unsigned>(bytes[0]) == COMPRESSION_MARK[0] &&
           std::to_integer<unsigned>(bytes[1]) == COMPRESSION_MARK[1];
  }

  // No text has so many zero bytes in a row.
  static constexpr std::ptrdiff_t ZERO_RUN_BYTES = 64;
  // Of the first page of a chain of Jet 4; in Jet 3 the number of slots stands there.
  static constexpr std::size_t STAMP_OFFSET_JET4 = 8;

  PageFile& file_;
  const std::vector<std::uint32_t>& living_;
};

}  // namespace

std::vector<std::byte> DeletedData::ReadLongValue(std::span<const std::byte> descriptor,
                                                  bool isText, std::string& lost) {
  std::vector<std::byte> value;
  if (descriptor.empty()) return value;
  const ByteReader reader(descriptor);
  const std::uint32_t lengthAndForm = reader.U32(0);
  const std::size_t length = lengthAndForm & LONG_VALUE_LENGTH_MASK;
  if ((lengthAndForm & LONG_VALUE_INLINE) != 0) {
    const auto bytes = reader.Bytes(LONG_VALUE_DESCRIPTOR_BYTES, length);
    return {bytes.begin(), bytes.end()};
  }
  if (length == 0) return value;
  const RowId pointer{reader.U32(LONG_VALUE_POINTER_OFFSET)};
  const std::uint32_t stamp = reader.U32(LONG_VALUE_POINTER_OFFSET + ROW_POINTER_BYTES);
  CheckInterruption();
  try {
    if (length > chainBytesLeft_) {
      throw DatabaseError({}, "its text claims more than the file can hold");
    }
    chainBytesLeft_ -= length;
    const LongValueSalvager salvager(file_, LivingLongValues());
    if ((lengthAndForm & LONG_VALUE_SINGLE) != 0) {
      return salvager.ReadSingle(pointer, length, isText);
    }
    salvager.ReadChain(pointer, stamp, length, isText, value);
  } catch (const Interrupted&) {
    throw;
  } catch (const DatabaseError& error) {
    lost = std::to_string(length - value.size()) + " of " + std::to_string(length) +
           " bytes: " + error.reason();
  }
  return value;
}

}  // namespace nimport::jet
