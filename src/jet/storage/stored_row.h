#ifndef NIMPORT_JET_STORAGE_STORED_ROW_H_
#define NIMPORT_JET_STORAGE_STORED_ROW_H_

#include <cstddef>
#include <cstdint>
#include <optional>

#include "jet/storage/data_page.h"
#include "jet/storage/row_view.h"
#include "jet/storage/stored_table.h"

namespace nimport::jet {

// Stands on slots of a page of its table and reads the values of their rows. The common part of a
// row read by id and of a scan.
class RowCursor {
 public:
  // `table` must outlive the cursor.
  explicit RowCursor(const StoredTable& table) : table_(&table) {}

  // Leaves the current row: until StandOn finds another one, every value is null.
  void UsePage(DataPage page) {
    view_ = {};
    page_ = std::move(page);
  }
  [[nodiscard]] const DataPage& CurrentPage() const { return page_; }

  // Whether a live row has this slot of the page; if so it is the current row, also when it was
  // moved to another page. False for a damaged one that was told of.
  bool StandOn(std::uint32_t slot);

  [[nodiscard]] RowId Id() const { return {page_.Number() << 8 | slot_}; }
  [[nodiscard]] Value Get(std::size_t column) const;
  [[nodiscard]] std::optional<std::int32_t> GetInteger(std::size_t column) const;

 private:
  // Where a moved row went.
  [[nodiscard]] std::span<const std::byte> FollowMove(std::span<const std::byte> source);
  // Tells of a text that has lost a part of its bytes.
  [[nodiscard]] Value Decode(std::size_t column) const;
  void LookForZeros(const Value& value, std::size_t column) const;
  void ReportValue(const DatabaseError& damage, std::size_t column) const;

  const StoredTable* table_;
  DataPage page_;
  DataPage targetPage_;  // of a moved row
  RowView view_;
  std::uint32_t slot_ = 0;
};

// A row read by id.
class StoredRow final : public Row, public RowCursor {
 public:
  using RowCursor::RowCursor;
  [[nodiscard]] RowId Id() const override { return RowCursor::Id(); }
  [[nodiscard]] Value Get(std::size_t column) const override { return RowCursor::Get(column); }
  [[nodiscard]] std::optional<std::int32_t> GetInteger(std::size_t column) const override {
    return RowCursor::GetInteger(column);
  }
};

// A scan over the pages that the table owns.
class StoredScan final : public TableScan {
 public:
  explicit StoredScan(const StoredTable& table) : table_(table), cursor_(table) {}

  bool Next() override;
  void ContinueAfter(RowId id) override;
  [[nodiscard]] RowId Id() const override { return cursor_.Id(); }
  [[nodiscard]] Value Get(std::size_t column) const override { return cursor_.Get(column); }
  [[nodiscard]] std::optional<std::int32_t> GetInteger(std::size_t column) const override {
    return cursor_.GetInteger(column);
  }

 private:
  // Opens the page at nextPage_, stepping over damaged ones; false behind the last.
  bool OpenNextPage();
  // How many pages behind `page`, others' few pages among them counted, the scan reads next.
  [[nodiscard]] std::uint32_t PagesToFollow(std::uint32_t page);
  void TellOfPagesOutside();

  const StoredTable& table_;
  RowCursor cursor_;
  std::size_t nextPage_ = 0;    // in the table's owned pages
  std::uint32_t nextSlot_ = 0;  // of the cursor's page
  std::uint32_t runEnd_ = 0;    // behind the last page of the run that is being read
  // Where the last ContinueAfter wants the scan to go on, until the page has been opened.
  std::optional<RowId> jump_;
  bool toldOfPagesOutside_ = false;
  bool isWhole_ = true;         // goes over all rows
  std::uint32_t rowCount_ = 0;  // that it stood on
};

}  // namespace nimport::jet

#endif  // NIMPORT_JET_STORAGE_STORED_ROW_H_
