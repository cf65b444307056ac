// Rows that were deleted and still lie in the file. Deleting a row gives its room free and leaves
// its bytes where they are, until something else is written there; docs/jet-deleted-rows.md says
// what is left of it, where, and how it is told from what lives.
#ifndef NIMPORT_JET_SALVAGE_DELETED_ROWS_H_
#define NIMPORT_JET_SALVAGE_DELETED_ROWS_H_

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "jet/recordset.h"
#include "jet/value.h"

namespace nimport::jet {

class PageFile;
class StoredTable;

// Where a deleted row lies.
enum class DeletedPlace : std::uint8_t {
  Slot,  // in a slot of the table's pages that is marked as deleted, or to which nothing points
  FreedPage,  // on a page that the table has given back
  FreeRoom,   // in the free room of one of those pages, which no slot points to
};

struct DeletedValue {
  Value value;       // what is there of it; null also where nothing is
  std::string lost;  // what is not, and why; empty for a whole value
};

struct DeletedSource {
  std::string name;  // in the database's text code page, as those of the columns
  std::vector<ColumnInfo> columns;
  std::shared_ptr<const StoredTable> table;
};

// What several tables share: which pages belong to none of them any more, and which long values
// belong to rows that live.
class DeletedData;

// The deleted rows of one table, in the order of their pages. One row may be there several times:
// rows that were written again and pages whose rows were moved together leave copies, of rows that
// live too. Which number is whose the caller knows. Valid as long as the DeletedData.
class DeletedRows {
 public:
  [[nodiscard]] const std::vector<ColumnInfo>& Columns() const { return source_.columns; }
  // By its name, without regard to the case of ASCII letters.
  [[nodiscard]] std::optional<std::size_t> FindColumn(std::string_view name) const;

  [[nodiscard]] std::size_t Count() const { return rows_.size(); }
  // `row` < Count(), `column` < Columns().size().
  [[nodiscard]] DeletedPlace PlaceOf(std::size_t row) const { return rows_[row].place; }
  [[nodiscard]] std::uint32_t PageOf(std::size_t row) const { return rows_[row].page; }
  [[nodiscard]] DeletedValue Get(std::size_t row, std::size_t column) const;

  // Slots that are marked as deleted and have no bytes any more.
  [[nodiscard]] std::uint64_t EmptySlots() const { return emptySlots_; }

 private:
  friend class DeletedData;
  class Finder;

  struct FoundRow {
    std::uint32_t page = 0;
    std::uint16_t begin = 0;  // bytes in the page
    std::uint16_t size = 0;
    DeletedPlace place{};
  };

  DeletedRows(DeletedData& data, const DeletedSource& source) : data_(data), source_(source) {}

  DeletedData& data_;
  const DeletedSource& source_;
  std::vector<FoundRow> rows_;
  std::uint64_t emptySlots_ = 0;
};

class DeletedData {
 public:
  // `sources` are all tables of the file, the engine's own too: what is not among them seems to
  // belong to nobody. `file` outlives the object, which holds while the file is unchanged.
  // `interruption` may be null; once it is true everything here ends with Interrupted. Reads the
  // whole file once.
  DeletedData(PageFile& file, std::vector<DeletedSource> sources,
              const std::atomic<bool>* interruption);
  ~DeletedData();
  DeletedData(const DeletedData&) = delete;
  DeletedData& operator=(const DeletedData&) = delete;

  // Null when there is no such table. Pages that cannot be read are left out. Goes through the
  // table's pages at the first call.
  [[nodiscard]] const DeletedRows* FindRows(std::string_view table);

 private:
  friend class DeletedRows;

  void FindFreedPages();
  void CheckInterruption() const;
  // Row pointers of the long values of living rows, sorted. Made at the first call.
  [[nodiscard]] const std::vector<std::uint32_t>& LivingLongValues();
  void AddLivingLongValues(const StoredTable& table);
  // A long value by what a deleted row holds of it.
  [[nodiscard]] std::vector<std::byte> ReadLongValue(std::span<const std::byte> descriptor,
                                                     bool isText, std::string& lost);

  PageFile& file_;
  std::vector<DeletedSource> sources_;
  const std::atomic<bool>* interruption_;
  std::vector<bool> isOwned_;  // by page: whether a table of now has it
  // Data pages that no table has, ascending, by the table's definition that they name.
  std::unordered_map<std::uint32_t, std::vector<std::uint32_t>> freedPages_;
  std::unordered_map<const DeletedSource*, std::unique_ptr<DeletedRows>> rows_;
  std::optional<std::vector<std::uint32_t>> livingLongValues_;
  // Bytes of chains that may still be read: rows that all claim the same long chain would cost the
  // square of the file.
  std::uint64_t chainBytesLeft_;
};

}  // namespace nimport::jet

#endif  // NIMPORT_JET_SALVAGE_DELETED_ROWS_H_
