// The rows of a stored query, one at a time.
#ifndef NIMPORT_JET_QUERY_QUERY_RECORDSET_H_
#define NIMPORT_JET_QUERY_QUERY_RECORDSET_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "jet/query/query_cursor.h"
#include "jet/query/query_result.h"
#include "jet/recordset.h"
#include "text/name_map.h"

namespace nimport::jet {

class Catalog;
struct ColumnOrigin;

// A stored query, read and bound to its sources. Indexes that lookups build are kept in it, so it
// is made once per generation of the catalog and shared by all who open the query.
class PreparedQuery {
 public:
  // Throws DatabaseError naming what the query asks for beyond what is evaluated. `name` is UTF-8.
  PreparedQuery(Catalog& catalog, std::string_view name);

  // Names are in the catalog's text code page.
  [[nodiscard]] const std::vector<ColumnInfo>& Columns() const { return columns_; }
  // Where they come from.
  [[nodiscard]] std::vector<ColumnOrigin> Origins() const;
  // `name` is in the rows' code page. Throws DatabaseError when there is no such column.
  [[nodiscard]] std::size_t FindColumn(std::string_view name) const;

  [[nodiscard]] QueryPlan& Plan() { return plan_; }
  [[nodiscard]] const QueryContext& Context() const { return context_; }

  // All rows in order; made at the first use and kept, although the query could do without.
  [[nodiscard]] const RowList& Rows() { return Materialize(plan_, context_); }
  // The numbers of those rows whose column is an integer. Made at the first use and kept.
  [[nodiscard]] std::span<const IndexEntry> ColumnIndex(std::size_t column);
  // The rows of the driving table that may lead to rows whose column is `value`, in order; empty
  // when only ColumnIndex() tells. Where the table is damaged: those before the damage, unless
  // `all` are wanted, which fails.
  [[nodiscard]] std::optional<std::span<const IndexEntry>> FindDrivingRows(std::size_t column,
                                                                           std::int32_t value,
                                                                           bool all = false);

 private:
  QueryContext context_;
  QueryPlan plan_;
  std::vector<ColumnInfo> columns_;
  text::NameMap<std::size_t> columnsByName_;  // UTF-8; of several the first
  std::map<std::size_t, HeldVector<IndexEntry>> columnIndexes_;
  std::map<std::size_t, std::optional<std::size_t>> drivingColumns_;  // see FindDrivingColumn
};

// Walks the joins as it moves, or goes over the query's rows where all had to be made. It starts
// when it is first asked for a row, so that opening one for a lookup costs nothing.
class QueryRecordset final : public Recordset {
 public:
  explicit QueryRecordset(std::shared_ptr<PreparedQuery> query);

  [[nodiscard]] bool IsEof() const override;
  void MoveFirst() override;
  void MoveNext() override;
  [[nodiscard]] Value GetFieldValue(std::string_view columnName) const override;
  [[nodiscard]] Value GetFieldValue(std::size_t column) const override;
  [[nodiscard]] Bookmark GetBookmark() const override;
  void SetBookmark(Bookmark bookmark) override;
  bool FindFirst(std::string_view columnName, std::int32_t value) override;
  bool FindNext() override;

 private:
  enum class Standing : std::uint8_t { NotStarted, OnRow, AtEnd };
  struct Sought {
    std::size_t column;
    std::int32_t value;
  };

  [[nodiscard]] QueryBudget& Budget() const;
  void Start() const;
  void RequireStarted() const;
  void RequireRow() const;
  [[nodiscard]] const RowSet& CurrentRows() const { return isListed_ ? rows_ : cursor_.Rows(); }
  void StandOnListed(std::size_t row) const;
  void NextOfJoin() const;
  void NextOfWalk() const;
  bool FindInJoin();
  bool FindListed(std::size_t firstRow);
  [[nodiscard]] bool IsSought() const;

  std::shared_ptr<PreparedQuery> query_;
  // What moves when a recordset that nobody has moved yet is asked for its first row.
  mutable JoinCursor cursor_;
  mutable RowSet rows_;  // of the row on which a listed recordset stands
  mutable Standing standing_ = Standing::NotStarted;
  mutable std::size_t row_ = 0;
  bool isListed_ = false;  // goes by row numbers instead of the cursor
  std::optional<Sought> sought_;
};

}  // namespace nimport::jet

#endif  // NIMPORT_JET_QUERY_QUERY_RECORDSET_H_
