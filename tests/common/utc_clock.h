#ifndef NIMPORT_TESTS_COMMON_UTC_CLOCK_H_
#define NIMPORT_TESTS_COMMON_UTC_CLOCK_H_

#include <chrono>

#include "platform/clock.h"

namespace nimport::tests {

// The clock of a machine in Greenwich's zone without daylight saving.
class UtcClock final : public platform::Clock {
 public:
  [[nodiscard]] int ZoneBiasMinutes() const override { return 0; }

  [[nodiscard]] std::optional<std::int32_t> ToSeconds(
      const platform::LocalTime& time) const override {
    const std::chrono::sys_days day =
        std::chrono::year(time.year) / std::chrono::month(static_cast<unsigned>(time.month)) / 1;
    const std::int64_t seconds =
        (std::int64_t{day.time_since_epoch().count()} + time.day - 1) * 86400 + time.hour * 3600 +
        time.minute * 60 + time.second;
    if (seconds < 0 || seconds > INT32_MAX) return std::nullopt;
    return static_cast<std::int32_t>(seconds);
  }

  [[nodiscard]] std::optional<platform::LocalTime> ToLocalTime(
      std::int32_t seconds) const override {
    const std::chrono::sys_seconds moment{std::chrono::seconds(seconds)};
    const auto day = std::chrono::floor<std::chrono::days>(moment);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss time(moment - day);
    return platform::LocalTime{.year = static_cast<int>(date.year()),
                               .month = static_cast<int>(static_cast<unsigned>(date.month())),
                               .day = static_cast<int>(static_cast<unsigned>(date.day())),
                               .hour = static_cast<int>(time.hours().count()),
                               .minute = static_cast<int>(time.minutes().count()),
                               .second = static_cast<int>(time.seconds().count()),
                               .weekday = static_cast<int>(std::chrono::weekday(day).c_encoding())};
  }
};

}  // namespace nimport::tests

#endif  // NIMPORT_TESTS_COMMON_UTC_CLOCK_H_
