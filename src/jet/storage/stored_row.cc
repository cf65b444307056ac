#include "jet/storage/stored_row.h"

#include <algorithm>
#include <string>
#include <utility>

#include "jet/format/byte_reader.h"
#include "jet/format/jet_layout.h"
#include "jet/storage/page_file.h"
#include "jet/storage/stored_table.h"
#include "jet/storage/value_decoder.h"

namespace nimport::jet {
namespace {

// Rows are seen to move once; a few moves more do no harm, a ring of them would.
constexpr int MAX_MOVES = 4;

// Pages of other tables that are read along rather than skipped: about what one more call of the
// system costs. Reading whole blocks instead took 36 ms, not 29, for all columns of a table that
// had an eighth of the pages, among the others'.
constexpr std::uint32_t MAX_GAP_PAGES = 2;

// No text has so many zero bytes in a row; a sector that was lost leaves 512.
constexpr std::size_t ZERO_RUN_BYTES = 64;

}  // namespace

bool StoredRow::StandOn(std::uint32_t slot) {
  if (slot >= page_.SlotCount()) return false;
  slot_ = slot;
  try {
    const Slot stored = page_.GetSlot(slot);
    if (stored.flags != SLOT_LIVE && stored.flags != SLOT_MOVED) return false;
    view_.Show(table_->Layout(),
               stored.flags == SLOT_LIVE ? stored.bytes : FollowMove(stored.bytes));
    // Bytes of zeros would be a row of nulls.
    if (table_->IsSalvaging()) table_->CheckColumnCount(view_.ColumnCount());
    return true;
  } catch (const DatabaseError& error) {
    // The place of a moved row is that of its pointer.
    table_->ReportDamage(DatabaseError({}, error.reason()), {.page = Id().Page(), .slot = slot});
    return false;
  }
}

std::span<const std::byte> StoredRow::FollowMove(std::span<const std::byte> source) {
  for (int moves = 0; moves < MAX_MOVES; ++moves) {
    const RowId target{ByteReader(source).U32(0)};
    const std::string place =
        "page " + std::to_string(target.Page()) + " slot " + std::to_string(target.Slot());
    Slot slot;
    try {
      targetPage_ = table_->ReadDataPage(target.Page());
      if (target.Slot() < targetPage_.SlotCount()) slot = targetPage_.GetSlot(target.Slot());
    } catch (const DatabaseError& error) {
      throw DatabaseError({}, "the row was moved to " + place + ": " + error.reason());
    }
    if (slot.flags == SLOT_TARGET) return slot.bytes;
    if (slot.flags != SLOT_MOVED) {
      throw DatabaseError({}, "the row was moved to " + place + ", where no moved row is");
    }
    source = slot.bytes;
  }
  throw DatabaseError({}, "the row was moved too many times");
}

Value StoredRow::Get(std::size_t column) const {
  try {
    const Column& definition = table_->Columns()[column];
    if (IsPlain(definition)) return DecodePlain(view_, definition);
    return Decode(column);
  } catch (const DatabaseError& error) {
    ReportValue(error, column);
    return std::monostate{};
  }
}

// A function of its own with a single value, which so comes to be where the caller wants it.
Value StoredRow::Decode(std::size_t column) const {
  std::unique_ptr<DatabaseError> cut;
  Value value = DecodeValue(view_, table_->Columns()[column], table_->File(), table_->Texts(), cut);
  if (cut) ReportValue(*cut, column);
  if (table_->IsSalvaging()) LookForZeros(value, column);
  return value;
}

std::optional<std::int32_t> StoredRow::GetInteger(std::size_t position) const {
  // Here only the plain case of a sound row; everything else may take its time.
  const Column& column = table_->Columns()[position];
  if (column.isFixed && view_.IsPresent(column.id)) {
    switch (column.type) {
      case ColumnType::Long:
        if (!view_.HoldsFixed(column.fixedOffset, 4)) break;
        return ByteReader(view_.FixedBytes(column.fixedOffset, 4)).I32(0);
      case ColumnType::Integer:
        if (!view_.HoldsFixed(column.fixedOffset, 2)) break;
        return ByteReader(view_.FixedBytes(column.fixedOffset, 2)).I16(0);
      default:
        break;
    }
  }
  return ToInteger(Get(position));
}

void StoredRow::LookForZeros(const Value& value, std::size_t column) const {
  const auto* text = std::get_if<Text>(&value);
  if (text == nullptr || text->bytes.size() < ZERO_RUN_BYTES) return;
  const std::size_t begin = text->bytes.find(std::string(ZERO_RUN_BYTES, '\0'));
  if (begin == std::string::npos) return;
  ReportValue(DatabaseError({}, "zero bytes stand in the text, from byte " + std::to_string(begin) +
                                    " of " + std::to_string(text->bytes.size())),
              column);
}

void StoredRow::ReportValue(const DatabaseError& damage, std::size_t column) const {
  table_->ReportDamage(
      DatabaseError({}, damage.reason()),
      {.page = Id().Page(), .slot = slot_, .column = table_->Columns()[column].name});
}

bool StoredScan::Next() {
  for (;;) {
    while (!jump_ && nextSlot_ < row_.CurrentPage().SlotCount()) {
      if (!row_.StandOn(nextSlot_++)) continue;
      ++rowCount_;
      return true;
    }
    if (!OpenNextPage()) return false;
  }
}

bool StoredScan::OpenNextPage() {
  const std::vector<std::uint32_t>& pages = table_.OwnedPages().pages;
  while (nextPage_ < pages.size()) {
    const std::uint32_t page = pages[nextPage_++];
    const bool isJump = jump_ && jump_->Page() == page;
    nextSlot_ = isJump ? jump_->Slot() : 0;
    jump_.reset();
    try {
      row_.UsePage(isJump ? table_.ReadDataPage(page)
                          : table_.ReadDataPage(page, ReadHint::Once, PagesToFollow(page)));
      return true;
    } catch (const DatabaseError& error) {
      row_.UsePage({});
      table_.ReportDamage(error, {.page = page});
    }
  }
  jump_.reset();
  row_.UsePage({});
  ReportPagesOutside();
  if (std::exchange(isWhole_, false)) table_.ReportMissingRows(rowCount_);
  return false;
}

std::uint32_t StoredScan::PagesToFollow(std::uint32_t page) {
  if (page >= runEnd_) {
    const std::vector<std::uint32_t>& pages = table_.OwnedPages().pages;
    runEnd_ = page + 1;
    for (std::size_t i = nextPage_; i < pages.size() && pages[i] - runEnd_ <= MAX_GAP_PAGES; ++i) {
      runEnd_ = pages[i] + 1;
    }
  }
  return runEnd_ - page - 1;
}

void StoredScan::ReportPagesOutside() {
  const auto& firstOutside = table_.OwnedPages().firstOutside;
  if (!firstOutside || std::exchange(hasReportedPagesOutside_, true)) return;
  table_.ReportDamage(
      DatabaseError({}, "the table owns this page and perhaps more beyond the end of the file"),
      {.page = *firstOutside});
}

void StoredScan::ContinueAfter(RowId id) {
  hasReportedPagesOutside_ = false;
  isWhole_ = false;
  const std::vector<std::uint32_t>& pages = table_.OwnedPages().pages;
  // After a page's last possible slot follows the first one of the next page.
  const RowId next{id.packed + 1};
  if (next.packed == 0) {
    nextPage_ = pages.size();
    jump_ = id;
    return;
  }
  const DataPage& current = row_.CurrentPage();
  if (!jump_ && current.SlotCount() > 0 && current.Number() == next.Page()) {
    nextSlot_ = next.Slot();
    return;
  }
  const auto page = std::lower_bound(pages.begin(), pages.end(), next.Page());
  nextPage_ = static_cast<std::size_t>(page - pages.begin());
  jump_ = next;
}

}  // namespace nimport::jet
