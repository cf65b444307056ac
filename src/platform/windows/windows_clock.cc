#include "platform/windows/windows_clock.h"

#include <windows.h>

#include "platform/local_time.h"

namespace nimport::platform::windows {
namespace {

// The system counts in steps of 100 nanoseconds from 1601 on.
constexpr std::int64_t TICKS_PER_SECOND = 10'000'000;
constexpr std::int64_t SECONDS_FROM_1601_TO_1970 = 11'644'473'600;

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

std::optional<SYSTEMTIME> ToLocalInYear(const SYSTEMTIME& utc, WORD year) {
  std::optional<TIME_ZONE_INFORMATION> zone = FindZone(year);
  SYSTEMTIME local{};
  if (!zone || SystemTimeToTzSpecificLocalTime(&*zone, &utc, &local) == FALSE) return std::nullopt;
  return local;
}

std::optional<SYSTEMTIME> ToLocal(std::int64_t utcSeconds) {
  const SYSTEMTIME utc = ToSystemTime(utcSeconds);
  std::optional<SYSTEMTIME> local = ToLocalInYear(utc, utc.wYear);
  // About New Year the rules may be another year's.
  if (local && local->wYear != utc.wYear) local = ToLocalInYear(utc, local->wYear);
  return local;
}

std::optional<std::int64_t> OffsetAt(std::int64_t utcSeconds) {
  const std::optional<SYSTEMTIME> local = ToLocal(utcSeconds);
  if (!local) return std::nullopt;
  return ToCount(*local) - utcSeconds;
}

}  // namespace

int WindowsClock::ZoneBiasMinutes() const {
  TIME_ZONE_INFORMATION zone{};
  if (GetTimeZoneInformation(&zone) == TIME_ZONE_ID_INVALID) return 0;
  return static_cast<int>(zone.Bias);
}

std::optional<std::int32_t> WindowsClock::ToSeconds(const LocalTime& time) const {
  return FindMoment(time, OffsetAt);
}

std::optional<LocalTime> WindowsClock::ToLocalTime(std::int32_t seconds) const {
  const std::optional<SYSTEMTIME> local = ToLocal(seconds);
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
