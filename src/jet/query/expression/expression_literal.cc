#include "jet/query/expression/expression_literal.h"

#include <charconv>
#include <chrono>
#include <cstdint>
#include <limits>
#include <string>
#include <system_error>
#include <utility>

#include "text/ascii.h"

namespace nimport::jet {
namespace {

template <typename Number, typename... Format>
std::optional<Number> ParseWhole(std::string_view text, Format... format) {
  Number number{};
  const char* end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, number, format...);
  if (result.ec != std::errc{} || result.ptr != end) return std::nullopt;
  return number;
}

std::optional<Value> ParseHexNumber(std::string_view digits) {
  const auto number = ParseWhole<std::uint32_t>(digits, 16);
  if (!number) return std::nullopt;
  // Four digits are a 16-bit number: &HFFFF is -1.
  if (digits.size() <= 4) return Value(std::int32_t{static_cast<std::int16_t>(*number)});
  return Value(static_cast<std::int32_t>(*number));
}

// Takes numbers, separators and words off the front of a date literal.
class DateReader {
 public:
  explicit DateReader(std::string_view text) : text_(text) {}

  [[nodiscard]] bool IsAtEnd() {
    SkipSpaces();
    return text_.empty();
  }

  std::optional<int> ReadNumber() {
    SkipSpaces();
    std::size_t size = 0;
    while (size < text_.size() && text::IsAsciiDigit(text_[size]))
      ++size;
    if (size > 4) return std::nullopt;
    const auto number = ParseWhole<int>(text_.substr(0, size));
    if (number) text_.remove_prefix(size);
    return number;
  }

  bool Skip(char separator) {
    SkipSpaces();
    if (text_.empty() || text_.front() != separator) return false;
    text_.remove_prefix(1);
    return true;
  }

  bool SkipWord(std::string_view word) {
    SkipSpaces();
    if (!text::EqualsIgnoringCase(text_.substr(0, word.size()), word)) return false;
    text_.remove_prefix(word.size());
    return true;
  }

 private:
  void SkipSpaces() {
    while (!text_.empty() && text_.front() == ' ')
      text_.remove_prefix(1);
  }

  std::string_view text_;
};

int ToFullYear(int year) {
  if (year >= 100) return year;
  return year < 30 ? 2000 + year : 1900 + year;
}

// Fills the date from three numbers in the order in which they were written.
bool SetDate(CalendarDate& date, int first, int second, int third) {
  if (first >= 100) {
    date.year = first;
    date.month = second;
    date.day = third;
  } else {
    date.year = ToFullYear(third);
    date.month = first;
    date.day = second;
    if (date.month > 12) std::swap(date.month, date.day);
  }
  return std::chrono::year_month_day(std::chrono::year(date.year),
                                     std::chrono::month(static_cast<unsigned>(date.month)),
                                     std::chrono::day(static_cast<unsigned>(date.day)))
      .ok();
}

// `hour` and its colon have been read.
bool ReadTimeAfterHour(DateReader& reader, int hour, CalendarDate& date) {
  const auto minute = reader.ReadNumber();
  const auto second = reader.Skip(':') ? reader.ReadNumber() : 0;
  if (!minute || !second || *minute > 59 || *second > 59) return false;
  const bool isAfternoon = reader.SkipWord("PM");
  if (isAfternoon || reader.SkipWord("AM")) {
    if (hour < 1 || hour > 12) return false;
    hour = hour % 12 + (isAfternoon ? 12 : 0);
  }
  date.hour = hour;
  date.minute = *minute;
  date.second = *second;
  return hour <= 23 && reader.IsAtEnd();
}

bool ReadDateAfterFirst(DateReader& reader, char separator, int first, CalendarDate& date) {
  const auto second = reader.ReadNumber();
  if (!second || !reader.Skip(separator)) return false;
  const auto third = reader.ReadNumber();
  if (!third || !SetDate(date, first, *second, *third)) return false;
  if (reader.IsAtEnd()) return true;
  const auto hour = reader.ReadNumber();
  return hour && reader.Skip(':') && ReadTimeAfterHour(reader, *hour, date);
}

}  // namespace

std::optional<Value> ParseNumberLiteral(std::string_view text) {
  if (text.starts_with('&')) return ParseHexNumber(text.substr(2));
  if (const auto integer = ParseWhole<std::int32_t>(text)) return Value(*integer);
  if (const auto number = ParseWhole<double>(text, std::chars_format::general)) {
    return Value(*number);
  }
  return std::nullopt;
}

std::optional<Date> ParseDateLiteral(std::string_view text) {
  DateReader reader(text);
  // A time alone is a time of day 0.
  CalendarDate date{.year = 1899, .month = 12, .day = 30};
  const auto first = reader.ReadNumber();
  if (!first) return std::nullopt;
  bool isValid = false;
  if (reader.Skip(':')) {
    isValid = ReadTimeAfterHour(reader, *first, date);
  } else if (reader.Skip('/')) {
    isValid = ReadDateAfterFirst(reader, '/', *first, date);
  } else if (reader.Skip('-')) {
    isValid = ReadDateAfterFirst(reader, '-', *first, date);
  }
  if (!isValid) return std::nullopt;
  return ToDate(date);
}

}  // namespace nimport::jet
