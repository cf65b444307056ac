#include "platform/local_time.h"

#include <algorithm>
#include <chrono>
#include <limits>

namespace nimport::platform {
namespace {

constexpr std::int64_t MONTHS_PER_YEAR = 12;
constexpr std::int64_t SECONDS_PER_MINUTE = 60;
constexpr std::int64_t SECONDS_PER_HOUR = 3600;
constexpr std::int64_t SECONDS_PER_DAY = 86400;

constexpr std::int64_t MAX_SECONDS = std::numeric_limits<std::int32_t>::max();

// What can give a result in range, with two days for the time zone; every system's types hold it.
constexpr std::int64_t MIN_LOCAL_SECONDS = -2 * SECONDS_PER_DAY;
constexpr std::int64_t MAX_LOCAL_SECONDS = MAX_SECONDS + 2 * SECONDS_PER_DAY;

// Far beyond any result in range, and far from overflow.
constexpr int MAX_YEAR = 10'000'000;

}  // namespace

std::int64_t CountSeconds(const LocalTime& time) {
  const std::int64_t months = std::int64_t{time.month} - 1;
  const std::int64_t carriedYears =
      (months >= 0 ? months : months - (MONTHS_PER_YEAR - 1)) / MONTHS_PER_YEAR;
  const auto month = static_cast<unsigned>(months - carriedYears * MONTHS_PER_YEAR + 1);
  // Days from 0000-03-01, in eras of 400 years: the day that leap years add comes last in a year
  // that begins in March.
  const std::int64_t year = std::int64_t{time.year} + carriedYears - (month <= 2 ? 1 : 0);
  const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
  const std::int64_t yearOfEra = year - era * 400;
  const std::int64_t monthFromMarch = (month + 9) % 12;
  const std::int64_t dayOfYear = (153 * monthFromMarch + 2) / 5;
  const std::int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  constexpr std::int64_t DAYS_PER_ERA = 146'097;
  constexpr std::int64_t DAYS_TO_1970 = 719'468;
  const std::int64_t days = era * DAYS_PER_ERA + dayOfEra - DAYS_TO_1970 + time.day - 1;
  return days * SECONDS_PER_DAY + time.hour * SECONDS_PER_HOUR + time.minute * SECONDS_PER_MINUTE +
         time.second;
}

LocalTime ToFields(std::int64_t seconds) {
  const std::chrono::sys_seconds time{std::chrono::seconds(seconds)};
  const auto day = std::chrono::floor<std::chrono::days>(time);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss timeOfDay(time - day);
  return {.year = int{date.year()},
          .month = static_cast<int>(unsigned{date.month()}),
          .day = static_cast<int>(unsigned{date.day()}),
          .hour = static_cast<int>(timeOfDay.hours().count()),
          .minute = static_cast<int>(timeOfDay.minutes().count()),
          .second = static_cast<int>(timeOfDay.seconds().count()),
          .weekday = static_cast<int>(std::chrono::weekday(day).c_encoding())};
}

std::optional<std::int32_t> FindMoment(const LocalTime& time, const ZoneOffset& offsetAt) {
  if (time.year < -MAX_YEAR || time.year > MAX_YEAR) return std::nullopt;
  const std::int64_t local = CountSeconds(time);
  if (local < MIN_LOCAL_SECONDS || local > MAX_LOCAL_SECONDS) return std::nullopt;
  // A day off in either direction lies beyond any change that `local` is in the middle of, since no
  // offset reaches a day.
  const std::optional<std::int64_t> before = offsetAt(local - SECONDS_PER_DAY);
  const std::optional<std::int64_t> after = offsetAt(local + SECONDS_PER_DAY);
  if (!before || !after) return std::nullopt;
  const std::int64_t standard = std::min(*before, *after);
  const std::int64_t saving = std::max(*before, *after);
  const bool isStandard = offsetAt(local - standard) == standard;
  const bool isSaving = !isStandard && offsetAt(local - saving) == saving;
  const std::int64_t seconds = local - (isSaving ? saving : standard);
  if (seconds < 0 || seconds > MAX_SECONDS) return std::nullopt;
  return static_cast<std::int32_t>(seconds);
}

std::int64_t ToInstant(const LocalTime& time, const Clock& clock) {
  if (const auto seconds = clock.ToSeconds(time)) return *seconds;
  return CountSeconds(time) + clock.ZoneBiasMinutes() * SECONDS_PER_MINUTE;
}

std::int32_t OffsetAt(std::int64_t utcSeconds, const Clock& clock) {
  constexpr std::int64_t MIN_SECONDS = std::numeric_limits<std::int32_t>::min();
  if (utcSeconds >= MIN_SECONDS && utcSeconds <= MAX_SECONDS) {
    const auto local = clock.ToLocalTime(static_cast<std::int32_t>(utcSeconds));
    if (local) return static_cast<std::int32_t>(CountSeconds(*local) - utcSeconds);
  }
  return static_cast<std::int32_t>(-clock.ZoneBiasMinutes() * SECONDS_PER_MINUTE);
}

}  // namespace nimport::platform
