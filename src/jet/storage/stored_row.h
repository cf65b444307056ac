#ifndef NIMPORT_JET_STORAGE_STORED_ROW_H_
#define NIMPORT_JET_STORAGE_STORED_ROW_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>

#include "jet/database_error.h"
#include "jet/storage/data_page.h"
#include "jet/storage/row_view.h"
#include "jet/value.h"

namespace nimport::jet {

class StoredTable;

// A row of a table, standing in its page; one read by id, or the one on which a scan stands. Valid
// until it stands on another one, never after the table is gone.
class StoredRow {
 public:
  // On no row. `table` must outlive it.
  explicit StoredRow(const StoredTable& table) : table_(&table) {}

  // Leaves the current row: until StandOn finds another one, every value is null.
  void UsePage(DataPage page) {
    view_ = {};
    page_ = std::move(page);
  }
  [[nodiscard]] const DataPage& CurrentPage() const { return page_; }

  // Whether a live row has this slot of the page; if so it is the current row, also when it was
  // moved to another page. False for a damaged one, which was reported.
  bool StandOn(std::uint32_t slot);

  [[nodiscard]] RowId Id() const { return {page_.Number() << 8 | slot_}; }
  // `column` is a position in StoredTable::Columns(). Decodes only that value. A column added to
  // the table after this row was written reads as null. Throws DatabaseError naming file, page and
  // slot.
  [[nodiscard]] Value Get(std::size_t column) const;
  // The same as ToInteger(Get(column)), without making a Value.
  [[nodiscard]] std::optional<std::int32_t> GetInteger(std::size_t column) const;

 private:
  // Where a moved row went.
  [[nodiscard]] std::span<const std::byte> FollowMove(std::span<const std::byte> source);
  // Reports a text that has lost a part of its bytes.
  [[nodiscard]] Value Decode(std::size_t column) const;
  void LookForZeros(const Value& value, std::size_t column) const;
  void ReportValue(const DatabaseError& damage, std::size_t column) const;

  const StoredTable* table_;
  DataPage page_;
  DataPage targetPage_;  // of a moved row
  RowView view_;
  std::uint32_t slot_ = 0;
};

// Goes over all live rows of a table, in the file's order.
//
// Between two calls it is in one of three states. On a page: the row stands in one of its slots,
// and the next one is looked for from `nextSlot_` on, then on the owned page `nextPage_`. Before a
// page: `jump_` says where on the owned page `nextPage_` to go on, and the page that the row holds
// counts no more. At the end: `nextPage_` is the number of owned pages, and the row holds no page.
class StoredScan {
 public:
  // `table` must outlive the scan.
  explicit StoredScan(const StoredTable& table) : table_(table), row_(table) {}

  // Stands on the next row (the first one at the first call); false after the last one.
  bool Next();
  // Lets the next call of Next() stand on the row after `id`.
  void ContinueAfter(RowId id);
  [[nodiscard]] const StoredRow& Row() const { return row_; }

 private:
  // Opens the page at nextPage_, stepping over damaged ones; false after the last.
  bool OpenNextPage();
  // How many pages after `page`, others' few pages among them counted, the scan reads next.
  [[nodiscard]] std::uint32_t PagesToFollow(std::uint32_t page);
  void ReportPagesOutside();

  const StoredTable& table_;
  StoredRow row_;
  std::size_t nextPage_ = 0;    // in the table's owned pages
  std::uint32_t nextSlot_ = 0;  // of the row's page
  std::uint32_t runEnd_ = 0;    // after the last page of the run that is being read
  // Where the last ContinueAfter wants the scan to go on, until the page has been opened.
  std::optional<RowId> jump_;
  bool hasReportedPagesOutside_ = false;
  bool isWhole_ = true;         // goes over all rows
  std::uint32_t rowCount_ = 0;  // that it stood on
};

}  // namespace nimport::jet

#endif  // NIMPORT_JET_STORAGE_STORED_ROW_H_
