#include "platform/posix/posix_clock.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

#include <time.h>

namespace nimport::platform::posix {
namespace {

constexpr time_t SECONDS_PER_HOUR = 60 * 60;
constexpr time_t SECONDS_PER_MONTH = 30 * 24 * SECONDS_PER_HOUR;
constexpr int MONTHS_PER_YEAR = 12;
constexpr int BASE_YEAR = 1900;  // of tm_year

// Far beyond any result in range, and far from the limits of tm's fields.
constexpr int MAX_YEAR = 10'000'000;

int FindBiasMinutes(time_t now) {
  // Standard time is what clocks show when they are not put forward, so the least offset of the
  // year. tm_isdst does not tell: Ireland's winter time counts as its daylight saving.
  long offsetSeconds = std::numeric_limits<long>::max();
  for (int month = 0; month < MONTHS_PER_YEAR; ++month) {
    const time_t moment = now + month * SECONDS_PER_MONTH;
    tm local{};
    if (localtime_r(&moment, &local) == nullptr) return 0;
    offsetSeconds = std::min(offsetSeconds, local.tm_gmtoff);
  }
  return static_cast<int>(-offsetSeconds / 60);
}

}  // namespace

PosixClock::ZoneState PosixClock::CurrentZone(std::int64_t now) {
  const char* setting = std::getenv("TZ");
  return {.setting = setting == nullptr ? "" : setting,
          .offsetSeconds = timezone,
          .hasDaylightSaving = daylight,
          .hour = now / SECONDS_PER_HOUR};
}

int PosixClock::ZoneBiasMinutes() const {
  const time_t now = time(nullptr);
  // Every date asks, and going through a year is the greater part of a date's cost. The conversion
  // of a date looks at the system's zone itself, so that a change of it shows here.
  const std::lock_guard lock(mutex_);
  if (!known_ || known_->first != CurrentZone(now)) {
    tzset();
    known_.emplace(CurrentZone(now), FindBiasMinutes(now));
  }
  return known_->second;
}

std::optional<std::int32_t> PosixClock::ToSeconds(const LocalTime& time) const {
  if (time.year < -MAX_YEAR || time.year > MAX_YEAR ||
      time.month == std::numeric_limits<int>::min()) {
    return std::nullopt;
  }
  tm fields{};
  fields.tm_year = time.year - BASE_YEAR;
  fields.tm_mon = time.month - 1;
  fields.tm_mday = time.day;
  fields.tm_hour = time.hour;
  fields.tm_min = time.minute;
  fields.tm_sec = time.second;
  fields.tm_isdst = -1;
  const std::lock_guard lock(mutex_);
  const time_t seconds = mktime(&fields);
  if (seconds < 0 || seconds > std::numeric_limits<std::int32_t>::max()) return std::nullopt;
  return static_cast<std::int32_t>(seconds);
}

std::optional<LocalTime> PosixClock::ToLocalTime(std::int32_t seconds) const {
  const std::lock_guard lock(mutex_);
  tzset();
  const time_t moment = seconds;
  tm local{};
  if (localtime_r(&moment, &local) == nullptr) return std::nullopt;
  return LocalTime{.year = local.tm_year + BASE_YEAR,
                   .month = local.tm_mon + 1,
                   .day = local.tm_mday,
                   .hour = local.tm_hour,
                   .minute = local.tm_min,
                   .second = local.tm_sec,
                   .weekday = local.tm_wday};
}

}  // namespace nimport::platform::posix
