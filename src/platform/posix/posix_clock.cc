#include "platform/posix/posix_clock.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

#include <time.h>

#include "platform/local_time.h"

namespace nimport::platform::posix {
namespace {

constexpr time_t SECONDS_PER_HOUR = 60 * 60;
constexpr time_t SECONDS_PER_MONTH = 30 * 24 * SECONDS_PER_HOUR;
constexpr int MONTHS_PER_YEAR = 12;
constexpr int BASE_YEAR = 1900;  // of tm_year

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

std::optional<std::int64_t> OffsetAt(std::int64_t utcSeconds) {
  const time_t moment = utcSeconds;
  tm local{};
  if (localtime_r(&moment, &local) == nullptr) return std::nullopt;
  return local.tm_gmtoff;
}

}  // namespace

void PosixClock::RefreshZone(std::int64_t now) const {
  // Whoever else changed the C library's zone meanwhile has mostly changed its offset.
  if (refreshed_ && *refreshed_ == std::pair(CurrentZone(now), now)) return;
  tzset();
  refreshed_.emplace(CurrentZone(now), now);
}

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
  const std::lock_guard lock(mutex_);
  RefreshZone(::time(nullptr));
  // Not mktime: of an hour that occurs twice it takes the one that was converted last.
  return FindMoment(time, OffsetAt);
}

std::optional<LocalTime> PosixClock::ToLocalTime(std::int32_t seconds) const {
  const std::lock_guard lock(mutex_);
  RefreshZone(time(nullptr));
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
