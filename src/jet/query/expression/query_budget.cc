#include "jet/query/expression/query_budget.h"

#include "jet/database_error.h"

namespace nimport::jet {
namespace {

// How often the interruption is looked at: every millisecond or so.
constexpr std::int64_t CHECK_INTERVAL = 1'000'000;

// What a question pays in: ten times what a lookup costs, and less than a host notices.
constexpr std::int64_t STEPS_PER_QUESTION = 20'000;
constexpr std::int64_t STEPS_PER_ANSWERED_BYTE = 50;

}  // namespace

QueryBudget::QueryBudget(std::string fileName, std::string queryName, const QueryLimits& limits)
    : fileName_(std::move(fileName)),
      queryName_(std::move(queryName)),
      limits_(limits),
      left_(static_cast<std::int64_t>(limits.steps)) {
  Settle();
}

// Brings `left_` up to date and begins a new interval.
void QueryBudget::Settle() {
  left_ -= interval_ - untilCheck_;
  interval_ = std::min(CHECK_INTERVAL, left_);
  untilCheck_ = interval_;
}

void QueryBudget::Check() {
  Settle();
  if (limits_.interruption != nullptr && limits_.interruption->load(std::memory_order_relaxed)) {
    throw Interrupted({.file = fileName_, .table = queryName_});
  }
  if (left_ >= 0 && !isSpent_) return;
  isSpent_ = true;
  left_ = interval_ = untilCheck_ = 0;
  Fail("the stored query takes too long for a file of this size: more than " +
       std::to_string(limits_.steps / 1'000'000) + " million steps");
}

void QueryBudget::PayForQuestion(std::size_t answerBytes) {
  if (isSpent_) return;
  Settle();
  left_ = std::min(static_cast<std::int64_t>(limits_.steps),
                   left_ + STEPS_PER_QUESTION +
                       STEPS_PER_ANSWERED_BYTE * static_cast<std::int64_t>(answerBytes));
  Settle();
}

void QueryBudget::PayForWalk() {
  if (isSpent_) return;
  left_ = static_cast<std::int64_t>(limits_.steps);
  interval_ = untilCheck_;
  Settle();
}

void QueryBudget::FailMemory() const {
  Fail("the stored query takes too much memory for a file of this size: more than " +
       std::to_string(limits_.memoryBytes >> 20) + " MiB");
}

void QueryBudget::Fail(const std::string& reason) const {
  throw DatabaseError({.file = fileName_, .table = queryName_}, reason);
}

}  // namespace nimport::jet
