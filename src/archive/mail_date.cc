#include "archive/mail_date.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>

#include <time.h>

#include "archive/header_lines.h"
#include "mime/date.h"

namespace nimport::command {

namespace {

constexpr std::array<const char*, 7> WEEKDAYS = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr std::array<const char*, 12> MONTHS = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

tm LocalTime(std::int64_t instant) {
  const auto time = static_cast<time_t>(instant);
  tm fields = {};
  localtime_r(&time, &fields);
  return fields;
}

// Names are not taken from the locale.
template <typename... Values>
std::string Format(const char* format, Values... values) {
  std::array<char, 64> buffer;
  std::snprintf(buffer.data(), buffer.size(), format, values...);
  return buffer.data();
}

// Standard time's seconds east of UTC, this year: the least offset, since clocks are only ever put
// forward. The plug-in uses the same.
std::int64_t StandardOffset() {
  constexpr std::int64_t MONTH = 30 * 86400;
  const std::int64_t now = time(nullptr);
  std::int64_t offset = LocalTime(now).tm_gmtoff;
  for (int month = 1; month < 12; ++month) {
    offset = std::min<std::int64_t>(offset, LocalTime(now + month * MONTH).tm_gmtoff);
  }
  return offset;
}

}  // namespace

std::int64_t InstantOfColumnDate(std::int32_t date) {
  static const std::int64_t standardOffset = StandardOffset();
  return std::int64_t{date} - standardOffset;
}

std::optional<std::int64_t> InstantOfHeader(std::string_view mail) {
  return mime::ParseDate(FindHeaderValue(mail, "Date"));
}

std::optional<std::int64_t> InstantOfMail(std::optional<std::int32_t> date, std::string_view mail) {
  const std::optional<std::int64_t> inHeader = InstantOfHeader(mail);
  if (!date) return inHeader;
  const std::int64_t asInstant = *date;
  const std::int64_t asColumn = InstantOfColumnDate(*date);
  // A mail without a date line has its date in a column. Otherwise the nearer reading is meant:
  // a sent mail's column was filled when its header was.
  if (!inHeader) return asColumn;
  const bool isInstant = std::llabs(asInstant - *inHeader) <= std::llabs(asColumn - *inHeader);
  return isInstant ? asInstant : asColumn;
}

std::string ToMailDate(std::int64_t instant) {
  const tm fields = LocalTime(instant);
  const long minutes = std::labs(fields.tm_gmtoff) / 60;
  return Format("%s, %02d %s %04d %02d:%02d:%02d %c%02ld%02ld",
                WEEKDAYS[static_cast<std::size_t>(fields.tm_wday)], fields.tm_mday,
                MONTHS[static_cast<std::size_t>(fields.tm_mon)], fields.tm_year + 1900,
                fields.tm_hour, fields.tm_min, fields.tm_sec, fields.tm_gmtoff < 0 ? '-' : '+',
                minutes / 60, minutes % 60);
}

std::string ToLocalText(std::int64_t instant) {
  const tm fields = LocalTime(instant);
  return Format("%04d-%02d-%02d %02d:%02d:%02d", fields.tm_year + 1900, fields.tm_mon + 1,
                fields.tm_mday, fields.tm_hour, fields.tm_min, fields.tm_sec);
}

std::string ToUtcText(std::int64_t instant) {
  const auto time = static_cast<time_t>(instant);
  tm fields = {};
  gmtime_r(&time, &fields);
  return Format("%s %s %2d %02d:%02d:%02d %04d", WEEKDAYS[static_cast<std::size_t>(fields.tm_wday)],
                MONTHS[static_cast<std::size_t>(fields.tm_mon)], fields.tm_mday, fields.tm_hour,
                fields.tm_min, fields.tm_sec, fields.tm_year + 1900);
}

}  // namespace nimport::command
