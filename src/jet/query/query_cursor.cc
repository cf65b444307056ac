#include "jet/query/query_cursor.h"

#include <algorithm>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "jet/query/query_result.h"

namespace nimport::jet {
namespace {

// Equal keys have equal hashes. Empty when one is null, or no number where numbers are compared:
// that equals nothing.
std::optional<std::int32_t> HashKeys(const std::vector<JoinKey>& keys, const RowSet& rows,
                                     const QueryContext& context) {
  std::string bytes;
  for (const JoinKey& key : keys) {
    Value value = Evaluate(*key.expression, rows, context.texts, *context.budget);
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
  RowList list(step.rightSlotList, *context.budget);
  RowNumberIndex index(*context.budget);
  JoinCursor cursor(*step.right, context);
  while (cursor.Next()) {
    const auto row = static_cast<std::uint32_t>(list.Size());
    list.Add(cursor.Rows());
    if (step.rightKeys.empty()) continue;
    if (const auto hash = HashKeys(step.rightKeys, cursor.Rows(), context)) {
      index.Add(*hash, row);
    }
  }
  list.ShrinkToFit();
  index.Sort();
  step.rightIndex = std::move(index);
  step.rightRows = std::move(list);
}

}  // namespace

bool HoldAll(const std::vector<BoundPtr>& conditions, const RowSet& rows,
             const QueryContext& context) {
  return std::all_of(conditions.begin(), conditions.end(), [&](const BoundPtr& condition) {
    return EvaluateCondition(*condition, rows, context.texts, *context.budget) == Truth::True;
  });
}

DrivingCursor::DrivingCursor(DrivingRows& driving, const QueryContext& context, RowSet& rows)
    : driving_(driving), context_(context), rows_(rows) {}

bool DrivingCursor::Next() {
  context_.budget->Work(STEPS_PER_ROW);
  if (IsQuery()) return NextOfQuery();
  return isNarrowed_ ? NextOfEntries() : NextOfScan();
}

bool DrivingCursor::NextOfQuery() {
  const RowList& list = RowsOf(*driving_.query, context_);
  const std::size_t next = hasPosition_ ? std::size_t{position_} + 1 : 0;
  if (next >= list.Size()) return false;
  MoveTo(static_cast<std::uint32_t>(next));
  return true;
}

bool DrivingCursor::NextOfEntries() {
  if (entries_.empty()) return false;
  position_ = entries_.front().id.packed;
  hasPosition_ = true;
  entries_ = entries_.subspan(1);
  rows_.SetId(driving_.slot, position_);
  return true;
}

bool DrivingCursor::NextOfScan() {
  if (!scan_) {
    scan_ = context_.tables[driving_.slot]->OpenScan();
    if (hasPosition_) scan_->ContinueAfter(RowId{position_});
  }
  // The row set must not hold on to a row that the scan leaves.
  rows_.SetId(driving_.slot, NO_ROW);
  if (!scan_->Next()) return false;
  position_ = scan_->Id().packed;
  hasPosition_ = true;
  rows_.SetRow(driving_.slot, *scan_);
  return true;
}

void DrivingCursor::Restart() {
  if (!IsQuery()) rows_.SetId(driving_.slot, NO_ROW);
  scan_.reset();
  isNarrowed_ = false;
  hasPosition_ = false;
}

void DrivingCursor::MoveTo(std::uint32_t position) {
  if (IsQuery()) {
    const RowList& list = RowsOf(*driving_.query, context_);
    if (position >= list.Size()) FailQuery(context_, "the row of the bookmark is not there");
    list.Put(position, rows_);
  } else {
    rows_.SetId(driving_.slot, position);
    scan_.reset();
    isNarrowed_ = false;
  }
  position_ = position;
  hasPosition_ = true;
}

void DrivingCursor::Narrow(std::span<const IndexEntry> entries) {
  if (hasPosition_) {
    const auto behind = std::upper_bound(
        entries.begin(), entries.end(), position_,
        [](std::uint32_t id, const IndexEntry& entry) { return id < entry.id.packed; });
    entries = {behind, entries.end()};
  }
  entries_ = entries;
  isNarrowed_ = true;
}

void DrivingCursor::Widen() {
  if (!isNarrowed_) return;
  isNarrowed_ = false;
  // Drops a row that may belong to the scan, which is opened again where the index has led.
  const std::uint32_t id = rows_.Id(driving_.slot);
  rows_.SetId(driving_.slot, NO_ROW);
  rows_.SetId(driving_.slot, id);
  scan_.reset();
}

MatchCursor::MatchCursor(JoinStep& step, const QueryContext& context, RowSet& rows)
    : step_(step), context_(context), rows_(rows) {}

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
  const Table& table = *context_.tables[step_.right->driving.slot];
  if (probeIndex_.empty()) {
    probeIndex_ = table.IntegerIndex(*step_.probeColumn);
  }
  probed_ = {};
  const auto value = EvaluateInteger(*step_.probeKey, rows_, context_);
  if (!value) return;
  probed_ = FindInIndex(probeIndex_, *value);
  if (!probed_.empty() || isProbeIndexWhole_) return;
  // It is not among the rows before the damage, if there is any.
  probeIndex_ = table.WholeIntegerIndex(*step_.probeColumn);
  isProbeIndexWhole_ = true;
  probed_ = FindInIndex(probeIndex_, *value);
}

void MatchCursor::OpenList() {
  if (!step_.rightRows) ListRightRows(step_, context_);
  hashed_ = {};
  if (step_.leftKeys.empty()) return;
  const auto hash = HashKeys(step_.leftKeys, rows_, context_);
  if (hash) hashed_ = step_.rightIndex.Find(*hash);
}

std::size_t MatchCursor::CandidateCount() const {
  if (step_.probeColumn) return probed_.size();
  return step_.leftKeys.empty() ? step_.rightRows->Size() : hashed_.size();
}

void MatchCursor::PutCandidate(std::size_t index) {
  if (step_.probeColumn) {
    rows_.SetId(step_.right->driving.slot, probed_[index].id.packed);
  } else {
    step_.rightRows->Put(step_.leftKeys.empty() ? index : hashed_[index].row, rows_);
  }
}

bool MatchCursor::IsMatch() const {
  // Listed rows have passed the filters of their own chain already.
  if (step_.probeColumn && !HoldAll(step_.right->driving.filters, rows_, context_)) {
    return false;
  }
  return HoldAll(step_.conditions, rows_, context_);
}

bool MatchCursor::Next() {
  const std::size_t count = CandidateCount();
  while (next_ < count) {
    context_.budget->Work(STEPS_PER_COMBINATION);
    PutCandidate(next_++);
    if (!IsMatch()) continue;
    hasMatched_ = true;
    if (HoldAll(step_.filters, rows_, context_)) return true;
  }
  if (!step_.keepsLeft || hasMatched_) return false;
  hasMatched_ = true;
  for (const Slot slot : step_.rightSlotList)
    rows_.SetId(slot, NO_ROW);
  return HoldAll(step_.filters, rows_, context_);
}

JoinCursor::JoinCursor(JoinChain& chain, const QueryContext& context)
    : chain_(chain), context_(context), rows_(context), driving_(chain.driving, context, rows_) {
  matches_.reserve(chain.steps.size());
  for (JoinStep& step : chain.steps)
    matches_.emplace_back(step, context, rows_);
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
    if (HoldAll(chain_.driving.filters, rows_, context_)) return true;
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
      FailQuery(context_, "the row of the bookmark is no longer there");
    }
    level = matches_.size();
  } while (match_ < position.match);
}

}  // namespace nimport::jet
