#include "platform/change_stamp.h"

#include <atomic>

namespace nimport::platform {
namespace {

// Longer than a tick of the clocks that time stamps are taken from.
constexpr std::int64_t UNSETTLED_NANOSECONDS = 20'000'000;

}  // namespace

void ChangeStamp::Add(std::uint64_t fact) {
  value_ = (value_ ^ fact) * 0x9E3779B97F4A7C15u;
  value_ ^= value_ >> 29;
}

void ChangeStamp::AddLastWrite(std::int64_t writtenNanoseconds, std::int64_t nowNanoseconds) {
  static std::atomic<std::uint64_t> unsettledCount{0};
  Add(static_cast<std::uint64_t>(writtenNanoseconds));
  const std::int64_t age = nowNanoseconds - writtenNanoseconds;
  if (age >= 0 && age < UNSETTLED_NANOSECONDS) Add(++unsettledCount);
}

}  // namespace nimport::platform
