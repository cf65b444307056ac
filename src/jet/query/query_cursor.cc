#include "jet/query/query_cursor.h"

#include <algorithm>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "jet/query/query_result.h"
#include "jet/storage/stored_table.h"

namespace nimport::jet {
namespace {

// Equal keys have equal hashes. Empty when one is null, or no number where numbers are compared:
// that equals nothing.
std::optional<std::int32_t> HashKeys(const std::vector<JoinKey>& keys, const RowSet& rows) {
  const QueryContext& context = rows.Context();
  std::string bytes;
  for (const JoinKey& key : keys) {
    Value value = Evaluate(*key.expression, rows);
    if (key.form == JoinKey::Form::Number) {
      const auto number = ToNumber(value);
      value = number ? Value(*number) : Value();
    }
    if (IsNull(value)) return std::nullopt;
    AppendSortKey(value, context.texts, bytes, *context.budget);
  }
  return static_cast<std::int32_t>(std::hash<std::string_view>{}(bytes));
}

void ListRightRows(JoinStep& step, const QueryContext& context) {
  RowList list(step.rightTableList, *context.budget);
  HeldVector<IndexEntry> index(*context.budget);
  JoinCursor cursor(*step.right, context);
  while (cursor.Next()) {
    const auto row = static_cast<std::uint32_t>(list.Size());
    list.Add(cursor.Rows());
    if (step.rightKeys.empty()) continue;
    if (const auto hash = HashKeys(step.rightKeys, cursor.Rows())) {
      index.PushBack({.value = *hash, .row = row});
    }
  }
  list.ShrinkToFit();
  SortIndex(index.Items());
  step.rightIndex = std::move(index);
  step.rightRows = std::move(list);
}

}  // namespace

DrivingCursor::DrivingCursor(DrivingRows& driving, RowSet& rows) : driving_(driving), rows_(rows) {}

DrivingCursor::~DrivingCursor() = default;

bool DrivingCursor::Next() {
  rows_.Context().budget->Work(STEPS_PER_ROW);
  if (IsQuery()) return NextOfQuery();
  return isRestricted_ ? NextOfEntries() : NextOfScan();
}

bool DrivingCursor::NextOfQuery() {
  const RowList& list = Materialize(*driving_.query, rows_.Context());
  const std::size_t next = hasPosition_ ? std::size_t{position_} + 1 : 0;
  if (next >= list.Size()) return false;
  MoveTo(static_cast<std::uint32_t>(next));
  return true;
}

bool DrivingCursor::NextOfEntries() {
  if (entries_.empty()) return false;
  position_ = entries_.front().row;
  hasPosition_ = true;
  entries_ = entries_.subspan(1);
  rows_.SetId(driving_.tableNumber, position_);
  return true;
}

bool DrivingCursor::NextOfScan() {
  if (!scan_) {
    scan_ = std::make_unique<StoredScan>(*rows_.Context().tables[driving_.tableNumber]);
    if (hasPosition_) scan_->ContinueAfter(RowId{position_});
  }
  // The row set must not hold on to a row that the scan leaves.
  rows_.SetId(driving_.tableNumber, NO_ROW);
  if (!scan_->Next()) return false;
  position_ = scan_->Row().Id().packed;
  hasPosition_ = true;
  rows_.SetRow(driving_.tableNumber, scan_->Row());
  return true;
}

void DrivingCursor::Restart() {
  if (!IsQuery()) rows_.SetId(driving_.tableNumber, NO_ROW);
  scan_.reset();
  isRestricted_ = false;
  hasPosition_ = false;
}

void DrivingCursor::MoveTo(std::uint32_t position) {
  if (IsQuery()) {
    const RowList& list = Materialize(*driving_.query, rows_.Context());
    if (position >= list.Size()) FailQuery(rows_.Context(), "the row of the bookmark is not there");
    list.Put(position, rows_);
  } else {
    rows_.SetId(driving_.tableNumber, position);
    scan_.reset();
    isRestricted_ = false;
  }
  position_ = position;
  hasPosition_ = true;
}

void DrivingCursor::RestrictTo(std::span<const IndexEntry> entries) {
  if (hasPosition_) {
    const auto after =
        std::upper_bound(entries.begin(), entries.end(), position_,
                         [](std::uint32_t id, const IndexEntry& entry) { return id < entry.row; });
    entries = {after, entries.end()};
  }
  entries_ = entries;
  isRestricted_ = true;
}

void DrivingCursor::ClearRestriction() {
  if (!isRestricted_) return;
  isRestricted_ = false;
  // Drops a row that may belong to the scan, which is opened again where the index has led.
  const std::uint32_t id = rows_.Id(driving_.tableNumber);
  rows_.SetId(driving_.tableNumber, NO_ROW);
  rows_.SetId(driving_.tableNumber, id);
  scan_.reset();
}

MatchCursor::MatchCursor(JoinStep& step, RowSet& rows) : step_(step), rows_(rows) {}

void MatchCursor::Open() {
  next_ = 0;
  hasMatched_ = false;
  if (step_.probeColumn) {
    OpenProbe();
  } else {
    OpenList();
  }
}

void MatchCursor::OpenProbe() {
  const StoredTable& table = *rows_.Context().tables[step_.right->driving.tableNumber];
  if (probeIndex_.empty()) {
    probeIndex_ = table.IntegerIndex(*step_.probeColumn);
  }
  probed_ = {};
  const auto value = EvaluateInteger(*step_.probeKey, rows_);
  if (!value) return;
  probed_ = FindInIndex(probeIndex_, *value);
  if (!probed_.empty() || isProbeIndexWhole_) return;
  // It is not among the rows before the damage, if there is any.
  probeIndex_ = table.WholeIntegerIndex(*step_.probeColumn);
  isProbeIndexWhole_ = true;
  probed_ = FindInIndex(probeIndex_, *value);
}

void MatchCursor::OpenList() {
  if (!step_.rightRows) ListRightRows(step_, rows_.Context());
  hashed_ = {};
  if (step_.leftKeys.empty()) return;
  const auto hash = HashKeys(step_.leftKeys, rows_);
  if (hash) hashed_ = FindInIndex(step_.rightIndex.Items(), *hash);
}

std::size_t MatchCursor::CandidateCount() const {
  if (step_.probeColumn) return probed_.size();
  return step_.leftKeys.empty() ? step_.rightRows->Size() : hashed_.size();
}

void MatchCursor::PutCandidate(std::size_t index) {
  if (step_.probeColumn) {
    rows_.SetId(step_.right->driving.tableNumber, probed_[index].row);
  } else {
    step_.rightRows->Put(step_.leftKeys.empty() ? index : hashed_[index].row, rows_);
  }
}

bool MatchCursor::IsMatch() const {
  // Listed rows have passed the filters of their own chain already.
  if (step_.probeColumn && !AllTrue(step_.right->driving.filters, rows_)) {
    return false;
  }
  return AllTrue(step_.conditions, rows_);
}

bool MatchCursor::Next() {
  const std::size_t count = CandidateCount();
  while (next_ < count) {
    rows_.Context().budget->Work(STEPS_PER_COMBINATION);
    PutCandidate(next_++);
    if (!IsMatch()) continue;
    hasMatched_ = true;
    if (AllTrue(step_.filters, rows_)) return true;
  }
  if (!step_.keepsLeft || hasMatched_) return false;
  hasMatched_ = true;
  for (const TableNumber tableNumber : step_.rightTableList)
    rows_.SetId(tableNumber, NO_ROW);
  return AllTrue(step_.filters, rows_);
}

JoinCursor::JoinCursor(JoinChain& chain, const QueryContext& context)
    : chain_(chain), rows_(context), driving_(chain.driving, rows_) {
  matches_.reserve(chain.steps.size());
  for (JoinStep& step : chain.steps)
    matches_.emplace_back(step, rows_);
}

bool JoinCursor::Next() {
  return Advance(isOnRow_ ? matches_.size() : 0);
}

void JoinCursor::Restart() {
  driving_.Restart();
  isOnRow_ = false;
}

bool JoinCursor::NextDrivingRow() {
  while (driving_.Next()) {
    if (AllTrue(chain_.driving.filters, rows_)) return true;
  }
  return false;
}

// `level` says where to go on: 0 with the next driving row, n with the next match of the n-th join.
bool JoinCursor::Advance(std::size_t level) {
  const std::size_t last = matches_.size();
  isOnRow_ = false;
  for (;;) {
    if (level == 0) {
      if (!NextDrivingRow()) return false;
      rowsOfDriving_ = 0;
    } else if (!matches_[level - 1].Next()) {
      --level;
      continue;
    }
    if (level == last) break;
    matches_[level++].Open();
  }
  match_ = rowsOfDriving_++;
  isOnRow_ = true;
  return true;
}

void JoinCursor::MoveTo(ChainPosition position) {
  driving_.MoveTo(position.driving);
  rowsOfDriving_ = 0;
  if (matches_.empty()) {
    match_ = rowsOfDriving_++;
    isOnRow_ = true;
    return;
  }
  matches_.front().Open();
  std::size_t level = 1;
  do {
    if (!Advance(level) || driving_.Position() != position.driving) {
      isOnRow_ = false;
      FailQuery(rows_.Context(), "the row of the bookmark is no longer there");
    }
    level = matches_.size();
  } while (match_ < position.match);
}

}  // namespace nimport::jet
