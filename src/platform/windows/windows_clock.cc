#include "platform/windows/windows_clock.h"

#include <limits>

#include <windows.h>

namespace nimport::platform::windows {
namespace {

constexpr std::int64_t MONTHS_PER_YEAR = 12;
constexpr std::int64_t SECONDS_PER_MINUTE = 60;
constexpr std::int64_t SECONDS_PER_HOUR = 3600;
constexpr std::int64_t SECONDS_PER_DAY = 86400;

// The system counts in steps of 100 nanoseconds from 1601 on.
constexpr std::int64_t TICKS_PER_SECOND = 10'000'000;
constexpr std::int64_t SECONDS_FROM_1601_TO_1970 = 11'644'473'600;

// What can give a result in range, with two days for the time zone; the system's own types hold it.
constexpr std::int64_t MIN_LOCAL_SECONDS = -2 * SECONDS_PER_DAY;
constexpr std::int64_t MAX_LOCAL_SECONDS =
    std::int64_t{std::numeric_limits<std::int32_t>::max()} + 2 * SECONDS_PER_DAY;

// Far beyond any result in range, and far from overflow.
constexpr int MAX_YEAR = 10'000'000;

// Seconds since 1970-01-01 00:00:00 of calendar fields, which may be out of range, without regard
// to time zones.
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

SYSTEMTIME ToSystemTime(std::int64_t seconds) {
  const auto ticks =
      static_cast<std::uint64_t>((seconds + SECONDS_FROM_1601_TO_1970) * TICKS_PER_SECOND);
  const FILETIME fileTime{.dwLowDateTime = static_cast<DWORD>(ticks),
                          .dwHighDateTime = static_cast<DWORD>(ticks >> 32)};
  SYSTEMTIME fields{};
  FileTimeToSystemTime(&fileTime, &fields);
  return fields;
}

std::int64_t ToCount(const SYSTEMTIME& fields) {
  return CountSeconds({.year = fields.wYear,
                       .month = fields.wMonth,
                       .day = fields.wDay,
                       .hour = fields.wHour,
                       .minute = fields.wMinute,
                       .second = fields.wSecond});
}

std::optional<TIME_ZONE_INFORMATION> FindZone(WORD year) {
  TIME_ZONE_INFORMATION zone{};
  if (GetTimeZoneInformationForYear(year, nullptr, &zone) == FALSE) return std::nullopt;
  return zone;
}

std::optional<SYSTEMTIME> ToLocal(const SYSTEMTIME& utc, WORD year) {
  std::optional<TIME_ZONE_INFORMATION> zone = FindZone(year);
  SYSTEMTIME local{};
  if (!zone || SystemTimeToTzSpecificLocalTime(&*zone, &utc, &local) == FALSE) return std::nullopt;
  return local;
}

}  // namespace

int WindowsClock::ZoneBiasMinutes() const {
  TIME_ZONE_INFORMATION zone{};
  if (GetTimeZoneInformation(&zone) == TIME_ZONE_ID_INVALID) return 0;
  return static_cast<int>(zone.Bias);
}

std::optional<std::int32_t> WindowsClock::ToSeconds(const LocalTime& time) const {
  if (time.year < -MAX_YEAR || time.year > MAX_YEAR) return std::nullopt;
  const std::int64_t localSeconds = CountSeconds(time);
  if (localSeconds < MIN_LOCAL_SECONDS || localSeconds > MAX_LOCAL_SECONDS) return std::nullopt;
  const SYSTEMTIME local = ToSystemTime(localSeconds);
  std::optional<TIME_ZONE_INFORMATION> zone = FindZone(local.wYear);
  SYSTEMTIME utc{};
  if (!zone || TzSpecificLocalTimeToSystemTime(&*zone, &local, &utc) == FALSE) return std::nullopt;
  const std::int64_t seconds = ToCount(utc);
  if (seconds < 0 || seconds > std::numeric_limits<std::int32_t>::max()) return std::nullopt;
  return static_cast<std::int32_t>(seconds);
}

std::optional<LocalTime> WindowsClock::ToLocalTime(std::int32_t seconds) const {
  const SYSTEMTIME utc = ToSystemTime(seconds);
  std::optional<SYSTEMTIME> local = ToLocal(utc, utc.wYear);
  // About New Year the rules may be another year's.
  if (local && local->wYear != utc.wYear) local = ToLocal(utc, local->wYear);
  if (!local) return std::nullopt;
  return LocalTime{.year = local->wYear,
                   .month = local->wMonth,
                   .day = local->wDay,
                   .hour = local->wHour,
                   .minute = local->wMinute,
                   .second = local->wSecond,
                   .weekday = local->wDayOfWeek};
}

}  // namespace nimport::platform::windows
