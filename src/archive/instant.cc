#include "archive/instant.h"

#include <array>
#include <cstdio>
#include <cstdlib>

#include "platform/local_time.h"

namespace nimport::archive {

namespace {

using platform::LocalTime;

constexpr std::array<const char*, 7> WEEKDAYS = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr std::array<const char*, 12> MONTHS = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

// Names are not taken from the locale.
template <typename... Values>
std::string Format(const char* format, Values... values) {
  std::array<char, 64> buffer;
  std::snprintf(buffer.data(), buffer.size(), format, values...);
  return buffer.data();
}

}  // namespace

std::int64_t ToInstant(const mime::Date& date, const platform::Clock& clock) {
  if (date.zoneMinutes) return date.localSeconds - std::int64_t{*date.zoneMinutes} * 60;
  return platform::ToInstant(platform::ToFields(date.localSeconds), clock);
}

std::string ToMailDate(std::int64_t instant, std::int32_t utcOffset) {
  // Zones before the twentieth century have seconds, which no mail can write.
  const std::int32_t minutes = utcOffset / 60;
  const LocalTime time = platform::ToFields(instant + minutes * 60);
  return Format("%s, %02d %s %04d %02d:%02d:%02d %c%02d%02d",
                WEEKDAYS.at(static_cast<std::size_t>(time.weekday)), time.day,
                MONTHS.at(static_cast<std::size_t>(time.month - 1)), time.year, time.hour,
                time.minute, time.second, minutes < 0 ? '-' : '+', std::abs(minutes) / 60,
                std::abs(minutes) % 60);
}

std::string ToLocalText(std::int64_t instant, std::int32_t utcOffset) {
  const LocalTime time = platform::ToFields(instant + utcOffset);
  return Format("%04d-%02d-%02d %02d:%02d:%02d", time.year, time.month, time.day, time.hour,
                time.minute, time.second);
}

std::string ToUtcText(std::int64_t instant) {
  const LocalTime time = platform::ToFields(instant);
  return Format("%s %s %2d %02d:%02d:%02d %04d",
                WEEKDAYS.at(static_cast<std::size_t>(time.weekday)),
                MONTHS.at(static_cast<std::size_t>(time.month - 1)), time.day, time.hour,
                time.minute, time.second, time.year);
}

}  // namespace nimport::archive
