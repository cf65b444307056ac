#include "archive/instant.h"

#include <array>
#include <cstdlib>

#include "platform/local_time.h"

namespace nimport::archive {

namespace {

using platform::LocalTime;

constexpr std::array<const char*, 7> WEEKDAYS = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr std::array<const char*, 12> MONTHS = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

// `number` with at least `digits` digits, after zeros or `fill`.
void Append(std::string& text, std::int64_t number, std::size_t digits, char fill = '0') {
  const std::string plain = std::to_string(number < 0 ? -number : number);
  if (number < 0) text += '-';
  const std::size_t size = plain.size() + (number < 0 ? 1 : 0);
  if (size < digits) text.append(digits - size, fill);
  text += plain;
}

// "10:00:00"
void AppendTime(std::string& text, const LocalTime& time) {
  Append(text, time.hour, 2);
  Append(text += ':', time.minute, 2);
  Append(text += ':', time.second, 2);
}

// Not taken from the locale.
const char* WeekdayOf(const LocalTime& time) {
  return WEEKDAYS.at(static_cast<std::size_t>(time.weekday));
}
const char* MonthOf(const LocalTime& time) {
  return MONTHS.at(static_cast<std::size_t>(time.month - 1));
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
  std::string text = WeekdayOf(time);
  Append(text += ", ", time.day, 2);
  text.append(" ").append(MonthOf(time)).append(" ");
  Append(text, time.year, 4);
  AppendTime(text += ' ', time);
  text += minutes < 0 ? " -" : " +";
  Append(text, std::abs(minutes) / 60, 2);
  Append(text, std::abs(minutes) % 60, 2);
  return text;
}

std::string ToLocalText(std::int64_t instant, std::int32_t utcOffset) {
  const LocalTime time = platform::ToFields(instant + utcOffset);
  std::string text;
  Append(text, time.year, 4);
  Append(text += '-', time.month, 2);
  Append(text += '-', time.day, 2);
  AppendTime(text += ' ', time);
  return text;
}

std::string ToUtcText(std::int64_t instant) {
  const LocalTime time = platform::ToFields(instant);
  std::string text = WeekdayOf(time);
  text.append(" ").append(MonthOf(time)).append(" ");
  Append(text, time.day, 2, ' ');
  AppendTime(text += ' ', time);
  Append(text += ' ', time.year, 4);
  return text;
}

}  // namespace nimport::archive
