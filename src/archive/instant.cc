#include "archive/instant.h"

#include <array>
#include <cstdio>
#include <cstdlib>

#include <time.h>

#include "archive/header_lines.h"
#include "mime/date.h"

namespace nimport::archive {

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

}  // namespace

std::optional<std::int64_t> InstantOfHeader(std::string_view mail) {
  return mime::ParseDate(FindHeaderValue(mail, "Date"));
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

}  // namespace nimport::archive
