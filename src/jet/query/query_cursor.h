// Walks the rows that a chain of joins makes, one at a time, without keeping them.
#ifndef NIMPORT_JET_QUERY_QUERY_CURSOR_H_
#define NIMPORT_JET_QUERY_QUERY_CURSOR_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "jet/query/query_plan.h"

namespace nimport::jet {

class StoredScan;

// Goes over the rows that drive a chain: a table's by scan, or some of them by an index, or those
// of a query.
class DrivingCursor {
 public:
  DrivingCursor(DrivingRows& driving, RowSet& rows);
  ~DrivingCursor();
  DrivingCursor(const DrivingCursor&) = delete;
  DrivingCursor& operator=(const DrivingCursor&) = delete;

  // Puts the next row into the row set; false after the last one. Does not test filters.
  bool Next();

  void Restart();

  // Of the row that was put last: its RowId, or its number in the query's rows.
  [[nodiscard]] std::uint32_t Position() const { return position_; }
  void MoveTo(std::uint32_t position);

  // From now on only those rows after the current one that are among `entries`, which have one
  // value and outlive the cursor. For tables only.
  void RestrictTo(std::span<const IndexEntry> entries);
  // From now on all rows after the current one.
  void ClearRestriction();

 private:
  [[nodiscard]] bool IsQuery() const { return driving_.query != nullptr; }
  bool NextOfScan();
  bool NextOfQuery();
  bool NextOfEntries();

  DrivingRows& driving_;
  RowSet& rows_;
  std::unique_ptr<StoredScan> scan_;  // stands on the current row or is null, unless restricted
  bool isRestricted_ = false;
  std::span<const IndexEntry> entries_;  // those still to come, when restricted
  bool hasPosition_ = false;
  std::uint32_t position_ = 0;
};

// Goes over the rows that match in one join.
class MatchCursor {
 public:
  MatchCursor(JoinStep& step, RowSet& rows);

  // Stands before the matches of what the row set holds of the left rows.
  void Open();
  // Puts the next match into the row set; false after the last one.
  bool Next();

 private:
  void OpenProbe();
  void OpenList();
  [[nodiscard]] std::size_t CandidateCount() const;
  void PutCandidate(std::size_t index);
  [[nodiscard]] bool IsMatch() const;

  JoinStep& step_;
  RowSet& rows_;
  std::span<const IndexEntry> probeIndex_;
  bool isProbeIndexWhole_ = false;
  // The candidates: by the table's index, by hash, or all rows.
  std::span<const IndexEntry> probed_;
  std::span<const IndexEntry> hashed_;
  std::size_t next_ = 0;
  bool hasMatched_ = false;
};

// A row's place in the chain, in the order of the rows.
struct ChainPosition {
  std::uint32_t driving = 0;  // DrivingCursor::Position()
  std::uint32_t match = 0;    // number among the rows of that driving row
};

// Goes over the rows of a chain of joins, as nested loops do: a driving row, a match of the first
// join, one of the second and so on.
//
// It is in one of three states. Before the first row, after construction and Restart(): the next
// row begins with a driving row. On a row: every cursor stands on its part of it, and the next row
// is the last join's next match; when that has none left, the join before it moves on. At the end:
// Next() has returned false and must not be called again before Restart() or MoveTo().
class JoinCursor {
 public:
  // Borrows both. Stands before the first row.
  JoinCursor(JoinChain& chain, const QueryContext& context);
  JoinCursor(const JoinCursor&) = delete;
  JoinCursor& operator=(const JoinCursor&) = delete;

  // Stands on the next row; false after the last one.
  bool Next();
  void Restart();

  [[nodiscard]] const RowSet& Rows() const { return rows_; }

  [[nodiscard]] ChainPosition Position() const { return {driving_.Position(), match_}; }
  // Stands on the row that had this position. Throws DatabaseError when there is none.
  void MoveTo(ChainPosition position);

  // See DrivingCursor. The rows of the current driving row come in any case.
  void RestrictTo(std::span<const IndexEntry> entries) { driving_.RestrictTo(entries); }
  void ClearRestriction() { driving_.ClearRestriction(); }

 private:
  bool NextDrivingRow();
  bool Advance(std::size_t level);

  JoinChain& chain_;
  RowSet rows_;
  DrivingCursor driving_;
  std::vector<MatchCursor> matches_;  // by step
  bool isOnRow_ = false;
  std::uint32_t match_ = 0;
  std::uint32_t rowsOfDriving_ = 0;  // delivered of the current driving row
};

}  // namespace nimport::jet

#endif  // NIMPORT_JET_QUERY_QUERY_CURSOR_H_
