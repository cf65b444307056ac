// What one stored query may cost. A query is a small text in a file that anybody may have written,
// and it can ask for more than any machine has; so whatever evaluates it counts what it does.
#ifndef NIMPORT_JET_QUERY_EXPRESSION_QUERY_BUDGET_H_
#define NIMPORT_JET_QUERY_EXPRESSION_QUERY_BUDGET_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "jet/catalog/query_limits.h"

namespace nimport::jet {

// What the parts of an evaluation count as, in steps of about a nanosecond. Rather too much than
// too little: sound queries stay a hundred times below their bound.
inline constexpr std::uint64_t STEPS_PER_OPERATION = 10;    // of an expression
inline constexpr std::uint64_t STEPS_PER_COMBINATION = 30;  // of rows that a join looks at
inline constexpr std::uint64_t STEPS_PER_VALUE = 60;        // of a row
inline constexpr std::uint64_t STEPS_PER_ROW = 100;         // that a scan or a sort goes over
inline constexpr std::uint64_t STEPS_PER_ROW_READ = 400;    // by its id
inline constexpr std::uint64_t STEPS_PER_PAGE = 1000;       // that a long value lies on
inline constexpr std::uint64_t STEPS_PER_TEXT_BYTE = 10;    // that is converted to be compared
inline constexpr std::uint64_t STEPS_PER_SQL_BYTE = 100;    // that is parsed

// Counts the work and the memory of one prepared query, over all recordsets on it.
//
// Work is an account: each question that a recordset is asked pays a little in, never beyond the
// limit, so that any number of lookups of ordinary cost is free and the first that run away with it
// empty it. A query that has emptied it stays refused: who asks for each of ten thousand mails
// waits for the bound once.
class QueryBudget {
 public:
  // Names are UTF-8, for messages.
  QueryBudget(std::string fileName, std::string queryName, const QueryLimits& limits);
  QueryBudget(const QueryBudget&) = delete;
  QueryBudget& operator=(const QueryBudget&) = delete;

  // To be called before the steps are done. Throws DatabaseError when they are too many, and
  // Interrupted.
  void Work(std::uint64_t steps) {
    untilCheck_ -= static_cast<std::int64_t>(steps);
    if (untilCheck_ < 0) Check();
  }

  // A question was asked whose answer is a value of so many bytes.
  void PayForQuestion(std::size_t answerBytes = 0);
  // All rows were gone over within the bound: the query is a sound one.
  void PayForWalk();

  // Throws DatabaseError that names file and query.
  [[noreturn]] void Fail(const std::string& reason) const;

 private:
  friend class MemoryHold;

  void Check();
  void Settle();
  void Hold(std::uint64_t bytes) {
    if (heldBytes_ + bytes > limits_.memoryBytes) FailMemory();
    heldBytes_ += bytes;
  }
  [[noreturn]] void FailMemory() const;

  std::string fileName_;
  std::string queryName_;
  QueryLimits limits_;
  std::int64_t left_;            // steps, as of the last Settle()
  std::int64_t untilCheck_ = 0;  // steps
  std::int64_t interval_ = 0;    // what untilCheck_ was at the last Settle()
  bool isSpent_ = false;
  std::uint64_t heldBytes_ = 0;
};

// So many bytes of the query's memory, while it lives.
class MemoryHold {
 public:
  // Counts nothing.
  MemoryHold() = default;
  // Borrows `budget`. Throws DatabaseError when there is no such memory left, as Resize() does.
  explicit MemoryHold(QueryBudget& budget, std::uint64_t bytes = 0) : budget_(&budget) {
    Resize(bytes);
  }
  ~MemoryHold() { Resize(0); }
  MemoryHold(MemoryHold&& other) noexcept
      : budget_(std::exchange(other.budget_, nullptr)), bytes_(std::exchange(other.bytes_, 0)) {}
  MemoryHold& operator=(MemoryHold&& other) noexcept {
    std::swap(budget_, other.budget_);
    std::swap(bytes_, other.bytes_);
    return *this;
  }

  void Resize(std::uint64_t bytes) {
    if (budget_ == nullptr) return;
    if (bytes > bytes_) budget_->Hold(bytes - bytes_);
    if (bytes < bytes_) budget_->heldBytes_ -= bytes_ - bytes;
    bytes_ = bytes;
  }

 private:
  QueryBudget* budget_ = nullptr;
  std::uint64_t bytes_ = 0;
};

// A vector whose memory is counted before it is taken.
template <typename T>
class HeldVector {
 public:
  HeldVector() = default;
  explicit HeldVector(QueryBudget& budget) : hold_(budget) {}

  void Reserve(std::size_t size) {
    if (size <= items_.capacity()) return;
    hold_.Resize((items_.capacity() + size) * sizeof(T));  // both while the items move
    items_.reserve(size);
    hold_.Resize(items_.capacity() * sizeof(T));
  }
  void PushBack(const T& item) {
    if (items_.size() == items_.capacity()) {
      constexpr std::size_t FIRST = 16;
      Reserve(std::max(FIRST, 2 * items_.capacity()));
    }
    items_.push_back(item);
  }
  void ShrinkToFit() {
    items_.shrink_to_fit();
    hold_.Resize(items_.capacity() * sizeof(T));
  }

  [[nodiscard]] std::vector<T>& Items() { return items_; }
  [[nodiscard]] const std::vector<T>& Items() const { return items_; }

 private:
  MemoryHold hold_;
  std::vector<T> items_;
};

}  // namespace nimport::jet

#endif  // NIMPORT_JET_QUERY_EXPRESSION_QUERY_BUDGET_H_
