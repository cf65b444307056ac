#include "store/mails/date_column.h"

#include <array>
#include <charconv>
#include <chrono>
#include <string_view>

namespace nimport::store {
namespace {

constexpr int FIRST_YEAR = 1970;
constexpr int LAST_YEAR = 2029;

platform::LocalTime ToLocalTime(const jet::CalendarDate& date) {
  return {.year = date.year,
          .month = date.month,
          .day = date.day,
          .hour = date.hour,
          .minute = date.minute,
          .second = date.second};
}

// Takes a number and, in front of it, the separator (0: none) off the beginning of `text`.
std::optional<int> TakeNumber(std::string_view& text, char separator) {
  if (separator != 0) {
    if (text.empty() || text.front() != separator) return std::nullopt;
    text.remove_prefix(1);
  }
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || number < 0) return std::nullopt;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return number;
}

bool IsRealDate(const platform::LocalTime& time) {
  const std::chrono::year_month_day date{std::chrono::year(time.year),
                                         std::chrono::month(static_cast<unsigned>(time.month)),
                                         std::chrono::day(static_cast<unsigned>(time.day))};
  return date.ok() && time.hour < 24 && time.minute < 60 && time.second < 60;
}

std::optional<platform::LocalTime> ParseDate(std::string_view text) {
  const bool hasDashes = text.find('-') != std::string_view::npos;
  const char between = hasDashes ? '-' : '/';
  const std::array<char, 6> separators = {0, between, between, ' ', ':', ':'};
  std::array<int, 6> numbers{};
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    if (i == 3 && text.empty()) break;
    const std::optional<int> number = TakeNumber(text, separators[i]);
    if (!number) return std::nullopt;
    numbers[i] = *number;
  }
  const platform::LocalTime time{.year = numbers[0],
                                 .month = numbers[1],
                                 .day = numbers[2],
                                 .hour = numbers[3],
                                 .minute = numbers[4],
                                 .second = numbers[5]};
  if (!text.empty() || !IsRealDate(time)) return std::nullopt;
  return time;
}

std::optional<platform::LocalTime> ToTime(const jet::Value& value) {
  if (const auto* date = std::get_if<jet::Date>(&value)) {
    const std::optional<jet::CalendarDate> fields = jet::ToCalendarDate(*date);
    return fields ? std::optional(ToLocalTime(*fields)) : std::nullopt;
  }
  const std::optional<std::string_view> text = jet::ToText(value);
  return text ? ParseDate(*text) : std::nullopt;
}

}  // namespace

std::optional<platform::LocalTime> ReadAnyDate(const jet::Value& value) {
  const std::optional<platform::LocalTime> time = ToTime(value);
  const bool isDay0 = time && time->year == 1899 && time->month == 12 && time->day == 30;
  return isDay0 ? std::nullopt : time;
}

std::optional<platform::LocalTime> ReadDateColumn(const jet::Value& value) {
  const std::optional<platform::LocalTime> time = ToTime(value);
  if (!time || time->year < FIRST_YEAR || time->year > LAST_YEAR) return std::nullopt;
  return time;
}

}  // namespace nimport::store
