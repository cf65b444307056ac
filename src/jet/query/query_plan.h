// How a query is evaluated: the rows of its first source drive, and a chain of joins extends each
// of them. Made by the planner, walked by JoinCursor.
#ifndef NIMPORT_JET_QUERY_QUERY_PLAN_H_
#define NIMPORT_JET_QUERY_QUERY_PLAN_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "jet/query/expression/expression_evaluator.h"
#include "jet/query/row_list.h"
#include "jet/storage/integer_index.h"

namespace nimport::jet {

struct QueryPlan;
struct JoinChain;

struct ColumnPlace {
  TableNumber tableNumber = 0;
  std::size_t column = 0;
  friend bool operator==(const ColumnPlace&, const ColumnPlace&) = default;
};

// In every row of a join in which `from` is a number, `to` is the same number.
struct ColumnEquality {
  ColumnPlace from;
  ColumnPlace to;
};

// The rows of one table in the file's order, or of a query that first needs all its rows.
struct DrivingRows {
  TableNumber tableNumber = 0;       // of the table
  std::shared_ptr<QueryPlan> query;  // null for a table
  std::vector<BoundPtr> filters;
};

// One side of an equality that a join looks for.
struct JoinKey {
  enum class Form : std::uint8_t { SortKey, Number };
  BoundPtr expression;
  Form form = Form::SortKey;
};

// One join: for each row that the chain has so far, the rows of `right` that match it.
struct JoinStep {
  bool keepsLeft = false;  // an outer join: a row without a match stays, with nulls
  std::unique_ptr<JoinChain> right;
  TableSet rightTables;
  std::vector<TableNumber> rightTableList;  // the same
  std::vector<BoundPtr> conditions;         // say what matches
  std::vector<BoundPtr> filters;            // tested on the joined row, also on one without a match

  // `right` is a single table, and this integer column of it equals `probeKey` where rows match.
  // It is not among the conditions: the table's index decides.
  std::optional<std::size_t> probeColumn;
  BoundPtr probeKey;

  // Otherwise the rows of `right` are listed at the first use and found by a hash of these, which
  // are pairwise equal where rows match.
  std::vector<JoinKey> leftKeys;
  std::vector<JoinKey> rightKeys;
  std::optional<RowList> rightRows;
  HeldVector<IndexEntry> rightIndex;  // by hash, of row numbers
};

struct JoinChain {
  DrivingRows driving;
  TableSet drivingTables;
  std::vector<JoinStep> steps;
  std::vector<ColumnEquality> equalities;

  [[nodiscard]] TableSet Tables() const;
  [[nodiscard]] bool IsTable() const { return steps.empty() && driving.query == nullptr; }
};

[[nodiscard]] std::vector<TableNumber> ToList(const TableSet& tables);

struct QueryPlan {
  struct Column {
    std::string name;  // UTF-8
    BoundPtr expression;
  };
  struct SortKey {
    BoundPtr expression;
    bool isDescending = false;
  };

  JoinChain chain;
  std::vector<Column> columns;
  std::vector<SortKey> sortKeys;
  bool isDistinct = false;
  TableSet distinctTables;  // rows that agree in these are one; none: no matter
  std::optional<std::uint32_t> top;
  bool isTopPercent = false;

  // All of them, when they were made; see Materialize().
  std::optional<RowList> rows;

  // Whether no row is known before all were seen, or the rows have to be counted.
  [[nodiscard]] bool NeedsAllRows() const {
    return isDistinct || distinctTables.any() || top || !sortKeys.empty();
  }
};

// The table of the first source drives the chain. Empty when `column` cannot be found through it.
// Otherwise: every row of the join in which `column` is a number has a driving row in which the
// returned column of the driving table is the same number.
[[nodiscard]] std::optional<std::size_t> FindDrivingColumn(const JoinChain& chain,
                                                           const BoundExpression& column,
                                                           QueryBudget& budget);

}  // namespace nimport::jet

#endif  // NIMPORT_JET_QUERY_QUERY_PLAN_H_
