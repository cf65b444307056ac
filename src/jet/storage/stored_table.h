#ifndef NIMPORT_JET_STORAGE_STORED_TABLE_H_
#define NIMPORT_JET_STORAGE_STORED_TABLE_H_

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "jet/format/text_decoder.h"
#include "jet/storage/integer_index.h"
#include "jet/storage/stored_row.h"
#include "jet/storage/table_definition.h"
#include "jet/storage/usage_map.h"

namespace nimport::jet {

class DamageReporter;
class PageFile;
class PageSurvey;
enum class ReadHint;

// What a table needs of its open database; outlives the table.
struct TableContext {
  PageFile& file;
  DamageReporter& damage;  // while it is salvaging, damage is stepped over with the survey's help
  PageSurvey& survey;
};

// A table of the file, as the storage side offers it to the evaluation of queries: its columns, a
// scan in the file's order (StoredScan), single rows by id, and indexes on integer columns.
class StoredTable {
 public:
  // Finds out which pages the table owns. `name` is UTF-8, `texts` decodes to the code page of the
  // values. Throws DatabaseError; with a damage listener only when memory or the file itself fails.
  StoredTable(const TableContext& context, std::string name, StoredDefinition definition,
              const TextDecoder& texts);

  [[nodiscard]] const std::string& Name() const { return name_; }  // UTF-8
  // In the order of their ids.
  [[nodiscard]] const std::vector<Column>& Columns() const { return definition_.columns; }
  // By UTF-8 name, without regard to the case of ASCII letters.
  [[nodiscard]] std::optional<std::size_t> FindColumn(std::string_view name) const;

  // Null when there is no live row with that id.
  [[nodiscard]] std::unique_ptr<StoredRow> ReadRow(RowId id) const;

  // How many pages of the file were asked for since it was opened, for whoever counts what reading
  // costs.
  [[nodiscard]] std::uint64_t PagesRead() const;

  // Rows whose column reads as an integer (ToInteger), sorted by value, then by row: every such
  // row, or, where damage ends a scan of the table, those before the damage. Built at the first
  // call for a column, kept while the file is unchanged. Valid as long as the table.
  [[nodiscard]] std::span<const IndexEntry> IntegerIndex(std::size_t column) const;
  // The same for whoever needs every row: throws the DatabaseError that ends the scan. To be asked
  // when IntegerIndex() does not have what is looked for.
  [[nodiscard]] std::span<const IndexEntry> WholeIntegerIndex(std::size_t column) const;

  // What the table's definition says. Not dependable.
  [[nodiscard]] std::uint32_t DeclaredRowCount() const { return definition_.rowCountHint; }

  // The number of rows that a scan delivers. Counted at the first call.
  [[nodiscard]] std::uint32_t RowCount() const;

  // Reports rows that the table's definition counts and a whole scan did not deliver, unless damage
  // was reported that explains it. Where nobody listens, only when the scan delivered none at all.
  void ReportMissingRows(std::uint32_t found) const;

  // For the rows.
  [[nodiscard]] PageFile& File() const { return context_.file; }
  [[nodiscard]] const JetLayout& Layout() const { return *layout_; }
  [[nodiscard]] const TextDecoder& Texts() const { return texts_; }
  [[nodiscard]] const UsedPages& OwnedPages() const { return ownedPages_; }
  [[nodiscard]] const StoredDefinition& Definition() const { return definition_; }
  // Whether damage is stepped over.
  [[nodiscard]] bool IsSalvaging() const { return isSalvaging_; }
  // Throws DatabaseError, without a place, for a row that cannot be one of the table's.
  void CheckColumnCount(std::size_t count) const;
  // A page of the table's rows; see PageFile::Read. Throws DatabaseError.
  [[nodiscard]] DataPage ReadDataPage(std::uint32_t pageNumber) const;
  [[nodiscard]] DataPage ReadDataPage(std::uint32_t pageNumber, ReadHint hint,
                                      std::uint32_t pagesToFollow) const;
  // Reports damage, adding file and table and what `place` knows; throws it when nobody listens.
  void ReportDamage(const DatabaseError& damage, const ErrorPlace& place) const;

 private:
  // The pages of the table's own map, and those that name the table as their owner.
  [[nodiscard]] UsedPages SalvagePages() const;

  // An index on an integer column, up to the damage where the table has some.
  struct ColumnIndex {
    std::vector<IndexEntry> entries;
    RowId lastRow;  // that the scan has passed; none while it is 0
    bool isWhole = false;
  };
  [[nodiscard]] ColumnIndex& GetIndex(std::size_t column) const;
  [[nodiscard]] ColumnIndex BuildIndex(std::size_t column) const;

  TableContext context_;
  bool isSalvaging_;
  const JetLayout* layout_;
  std::string name_;
  TextDecoder texts_;
  StoredDefinition definition_;
  UsedPages ownedPages_;
  mutable bool hasLostRows_ = false;  // it was reported
  mutable std::optional<std::uint32_t> rowCount_;
  mutable std::map<std::size_t, ColumnIndex> indexes_;  // by column
  // Entries that callers may still hold of indexes that have grown since.
  mutable std::vector<std::vector<IndexEntry>> outgrownEntries_;
};

}  // namespace nimport::jet

#endif  // NIMPORT_JET_STORAGE_STORED_TABLE_H_
