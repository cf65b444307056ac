#include "jet/query/query_recordset.h"

#include <algorithm>
#include <utility>

#include "jet/catalog/catalog.h"
#include "jet/database.h"
#include "jet/query/expression/sql_text.h"
#include "jet/query/query_planner.h"
#include "jet/query/query_result.h"
#include "jet/storage/stored_table.h"

namespace nimport::jet {
namespace {

// A bookmark is either a row number, marked by the highest bit, or a driving row's position and the
// number of the row among those that it leads to. No file has so many pages that a row id reaches
// that bit.
constexpr std::uint64_t END_BOOKMARK = ~std::uint64_t{0};
constexpr std::uint64_t ROW_NUMBER_MARK = std::uint64_t{1} << 63;
constexpr int DRIVING_SHIFT = 32;

}  // namespace

PreparedQuery::PreparedQuery(Catalog& catalog, std::string_view name)
    : context_{.fileName = catalog.FileName(),
               .queryName = std::string(name),
               .texts = TextRules(catalog.Converter(), catalog.TextCodePage()),
               .tables = {},
               .budget = std::make_unique<QueryBudget>(catalog.FileName(), std::string(name),
                                                       catalog.Limits())},
      plan_(PlanQuery(catalog, context_)) {
  for (const QueryPlan::Column& column : plan_.columns) {
    columnsByName_.emplace(column.name, columns_.size());
    columns_.push_back(
        {.name = context_.texts.FromUtf8(column.name), .type = column.expression->type});
  }
}

std::vector<ColumnOrigin> PreparedQuery::Origins() const {
  std::vector<ColumnOrigin> origins(plan_.columns.size());
  for (std::size_t i = 0; i < origins.size(); ++i) {
    const BoundExpression& expression = *plan_.columns[i].expression;
    if (expression.operation != Operation::Column) continue;
    const StoredTable& table = *context_.tables[expression.tableNumber];
    origins[i] = {.table = context_.texts.FromUtf8(table.Name()),
                  .column = context_.texts.FromUtf8(table.Columns()[expression.column].name)};
  }
  return origins;
}

std::size_t PreparedQuery::FindColumn(std::string_view name) const {
  const std::string utf8Name = context_.texts.ToUtf8(name);
  const auto found = columnsByName_.find(utf8Name);
  if (found != columnsByName_.end()) return found->second;
  FailQuery(context_, "the query's result has no column " + Quote(utf8Name));
}

std::span<const IndexEntry> PreparedQuery::ColumnIndex(std::size_t column) {
  const auto found = columnIndexes_.find(column);
  if (found != columnIndexes_.end()) return found->second.Items();
  const RowList& list = Rows();
  HeldVector<IndexEntry> index(*context_.budget);
  index.Reserve(list.Size());
  RowSet rows(context_);
  for (std::size_t row = 0; row < list.Size(); ++row) {
    list.Put(row, rows);
    const auto value = EvaluateInteger(*plan_.columns[column].expression, rows);
    if (value) index.PushBack({.value = *value, .row = static_cast<std::uint32_t>(row)});
  }
  SortIndex(index.Items());
  return columnIndexes_.emplace(column, std::move(index)).first->second.Items();
}

std::optional<std::span<const IndexEntry>> PreparedQuery::FindDrivingRows(std::size_t column,
                                                                          std::int32_t value,
                                                                          bool all) {
  if (plan_.NeedsAllRows()) return std::nullopt;
  auto found = drivingColumns_.find(column);
  if (found == drivingColumns_.end()) {
    const BoundExpression& expression = *plan_.columns[column].expression;
    const auto driving = FindDrivingColumn(plan_.chain, expression, *context_.budget);
    found = drivingColumns_.emplace(column, driving).first;
  }
  const std::optional<std::size_t> driving = found->second;
  if (!driving) return std::nullopt;
  const StoredTable& table = *context_.tables[plan_.chain.driving.tableNumber];
  return FindInIndex(all ? table.WholeIntegerIndex(*driving) : table.IntegerIndex(*driving), value);
}

QueryRecordset::QueryRecordset(std::shared_ptr<PreparedQuery> query)
    : query_(std::move(query)),
      cursor_(query_->Plan().chain, query_->Context()),
      rows_(query_->Context()),
      isListed_(query_->Plan().NeedsAllRows()) {}

// Where a recordset stands that nobody has moved yet is settled when somebody looks.
void QueryRecordset::RequireStarted() const {
  if (standing_ == Standing::NotStarted) Start();
}

void QueryRecordset::RequireRow() const {
  RequireStarted();
  if (standing_ == Standing::AtEnd) {
    FailQuery(query_->Context(), "the query's recordset stands after its last row");
  }
}

bool QueryRecordset::IsEof() const {
  RequireStarted();
  return standing_ == Standing::AtEnd;
}

QueryBudget& QueryRecordset::Budget() const {
  return *query_->Context().budget;
}

void QueryRecordset::MoveFirst() {
  Start();
}

void QueryRecordset::Start() const {
  Budget().PayForQuestion();
  if (isListed_) return StandOnListed(0);
  standing_ = Standing::AtEnd;
  cursor_.Restart();
  NextOfWalk();
}

void QueryRecordset::MoveNext() {
  RequireRow();
  Budget().PayForQuestion();
  if (isListed_) return StandOnListed(row_ + 1);
  cursor_.ClearRestriction();
  NextOfWalk();
}

void QueryRecordset::StandOnListed(std::size_t row) const {
  standing_ = Standing::AtEnd;
  const RowList& list = query_->Rows();
  if (row >= list.Size()) return;
  list.Put(row, rows_);
  row_ = row;
  standing_ = Standing::OnRow;
}

void QueryRecordset::NextOfJoin() const {
  standing_ = Standing::AtEnd;
  if (cursor_.Next()) standing_ = Standing::OnRow;
}

void QueryRecordset::NextOfWalk() const {
  NextOfJoin();
  if (standing_ == Standing::AtEnd) Budget().PayForWalk();
}

Value QueryRecordset::GetFieldValue(std::string_view columnName) const {
  return GetFieldValue(query_->FindColumn(columnName));
}

Value QueryRecordset::GetFieldValue(std::size_t column) const {
  const auto& columns = query_->Plan().columns;
  if (column >= columns.size()) {
    FailQuery(query_->Context(), "the query's result has no column " + std::to_string(column));
  }
  RequireRow();
  Value value = Evaluate(*columns[column].expression, CurrentRows());
  Budget().PayForQuestion(ToText(value).value_or(std::string_view()).size());
  return value;
}

Bookmark QueryRecordset::GetBookmark() const {
  RequireStarted();
  if (standing_ == Standing::AtEnd) return {END_BOOKMARK};
  if (isListed_) return {ROW_NUMBER_MARK | row_};
  const ChainPosition position = cursor_.Position();
  return {std::uint64_t{position.driving} << DRIVING_SHIFT | position.match};
}

void QueryRecordset::SetBookmark(Bookmark bookmark) {
  Budget().PayForQuestion();
  standing_ = Standing::AtEnd;
  if (bookmark.position == END_BOOKMARK) return;
  isListed_ = (bookmark.position & ROW_NUMBER_MARK) != 0;
  if (isListed_) {
    return StandOnListed(static_cast<std::size_t>(bookmark.position & ~ROW_NUMBER_MARK));
  }
  cursor_.MoveTo({.driving = static_cast<std::uint32_t>(bookmark.position >> DRIVING_SHIFT),
                  .match = static_cast<std::uint32_t>(bookmark.position)});
  standing_ = Standing::OnRow;
}

bool QueryRecordset::FindFirst(std::string_view columnName, std::int32_t value) {
  const std::size_t column = query_->FindColumn(columnName);
  Budget().PayForQuestion();
  standing_ = Standing::AtEnd;
  sought_ = Sought{.column = column, .value = value};
  if (isListed_) return FindListed(0);
  const auto candidates = query_->FindDrivingRows(column, value);
  if (!candidates) return FindListed(0);
  cursor_.Restart();
  cursor_.RestrictTo(*candidates);
  return FindInJoin();
}

bool QueryRecordset::FindNext() {
  if (!sought_) FailQuery(query_->Context(), "nothing was looked for before the next");
  Budget().PayForQuestion();
  RequireStarted();
  if (standing_ == Standing::AtEnd) return false;
  if (isListed_) return FindListed(row_ + 1);
  // Without candidates, a bookmark has led back to before all rows were made: a walk will do.
  const auto candidates = query_->FindDrivingRows(sought_->column, sought_->value);
  if (candidates) cursor_.RestrictTo(*candidates);
  return FindInJoin();
}

bool QueryRecordset::IsSought() const {
  const auto& column = query_->Plan().columns[sought_->column];
  return EvaluateInteger(*column.expression, CurrentRows()) == sought_->value;
}

// The index of the driving table only says where to look.
bool QueryRecordset::FindInJoin() {
  const auto findNext = [this] {
    do {
      NextOfJoin();
    } while (standing_ == Standing::OnRow && !IsSought());
    return standing_ == Standing::OnRow;
  };
  if (findNext()) return true;
  // A walk over the driving table would now meet its damage, if there is any.
  const auto candidates = query_->FindDrivingRows(sought_->column, sought_->value, true);
  if (!candidates) return false;
  cursor_.RestrictTo(*candidates);
  return findNext();
}

bool QueryRecordset::FindListed(std::size_t firstRow) {
  isListed_ = true;
  standing_ = Standing::AtEnd;
  const auto found = FindInIndex(query_->ColumnIndex(sought_->column), sought_->value);
  const auto next =
      std::lower_bound(found.begin(), found.end(), firstRow,
                       [](const IndexEntry& entry, std::size_t row) { return entry.row < row; });
  if (next == found.end()) return false;
  StandOnListed(next->row);
  return IsSought();
}

}  // namespace nimport::jet
