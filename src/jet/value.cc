#include "jet/value.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <type_traits>

#include "text/ascii.h"

namespace nimport::jet {
namespace {

using std::chrono::days;
using std::chrono::sys_days;
using std::chrono::year_month_day;

constexpr sys_days DAY_ZERO = std::chrono::year{1899} / 12 / 30;
constexpr sys_days FIRST_DAY = std::chrono::year{100} / 1 / 1;
constexpr sys_days LAST_DAY = std::chrono::year{9999} / 12 / 31;
constexpr std::int64_t MILLISECONDS_PER_DAY = 24 * 60 * 60 * 1000;

std::optional<std::int32_t> Narrow(std::int64_t value) {
  if (value < std::numeric_limits<std::int32_t>::min() ||
      value > std::numeric_limits<std::int32_t>::max()) {
    return std::nullopt;
  }
  return static_cast<std::int32_t>(value);
}

std::optional<std::int32_t> WholeNumber(double value) {
  // Asked this way round, NaN fails too.
  if (!(value >= -2147483648.0 && value <= 2147483647.0)) return std::nullopt;
  const auto whole = static_cast<std::int32_t>(value);
  if (whole != value) return std::nullopt;
  return whole;
}

// Removes the digits at the start of `text`.
std::string_view TakeDigits(std::string_view& text) {
  const auto end = std::find_if_not(text.begin(), text.end(), text::IsAsciiDigit);
  const std::string_view digits = text.substr(0, static_cast<std::size_t>(end - text.begin()));
  text.remove_prefix(digits.size());
  return digits;
}

// A whole number in decimal digits, with blanks around it, a sign and zeros after the point.
std::optional<std::int32_t> WholeNumber(std::string_view text) {
  while (!text.empty() && text.front() == ' ')
    text.remove_prefix(1);
  while (!text.empty() && text.back() == ' ')
    text.remove_suffix(1);
  const bool isNegative = !text.empty() && text.front() == '-';
  if (isNegative || (!text.empty() && text.front() == '+')) text.remove_prefix(1);
  const std::string_view digits = TakeDigits(text);
  if (digits.empty()) return std::nullopt;
  if (!text.empty() && text.front() == '.') text.remove_prefix(1);
  if (text.find_first_not_of('0') != text.npos) return std::nullopt;
  std::int64_t value = 0;
  for (const char digit : digits) {
    value = value * 10 + (digit - '0');
    if (value > std::int64_t{1} << 32) return std::nullopt;
  }
  return Narrow(isNegative ? -value : value);
}

// The magnitude's decimal digits, without leading zeros but one.
std::string Digits(std::array<std::uint32_t, 4> magnitude) {
  std::string digits;
  const auto isZero = [&] {
    return std::all_of(magnitude.begin(), magnitude.end(), [](auto word) { return word == 0; });
  };
  do {
    std::uint64_t rest = 0;
    for (std::uint32_t& word : magnitude) {
      rest = rest << 32 | word;
      word = static_cast<std::uint32_t>(rest / 10);
      rest %= 10;
    }
    digits.push_back(static_cast<char>('0' + rest));
  } while (!isZero());
  std::reverse(digits.begin(), digits.end());
  return digits;
}

}  // namespace

std::optional<CalendarDate> ToCalendarDate(Date date) {
  // Well within what the conversions below can hold; the exact limits follow after the rounding.
  if (!std::isfinite(date.days) || std::fabs(date.days) > 1e7) return std::nullopt;
  const double wholeDays = std::trunc(date.days);
  std::int64_t milliseconds =
      std::llround(std::fabs(date.days - wholeDays) * double{MILLISECONDS_PER_DAY});
  sys_days day = DAY_ZERO + days(static_cast<int>(wholeDays));
  if (milliseconds >= MILLISECONDS_PER_DAY) {
    day += days(1);
    milliseconds -= MILLISECONDS_PER_DAY;
  }
  if (day < FIRST_DAY || day > LAST_DAY) return std::nullopt;
  const year_month_day fields(day);
  CalendarDate result;
  result.year = int{fields.year()};
  result.month = static_cast<int>(unsigned{fields.month()});
  result.day = static_cast<int>(unsigned{fields.day()});
  const auto time = static_cast<int>(milliseconds);
  result.hour = time / 3'600'000;
  result.minute = time / 60'000 % 60;
  result.second = time / 1000 % 60;
  result.millisecond = time % 1000;
  return result;
}

Date ToDate(const CalendarDate& fields) {
  const sys_days day = std::chrono::year{fields.year} / fields.month / fields.day;
  const auto wholeDays = static_cast<double>((day - DAY_ZERO).count());
  const int milliseconds =
      ((fields.hour * 60 + fields.minute) * 60 + fields.second) * 1000 + fields.millisecond;
  const double time = milliseconds / double{MILLISECONDS_PER_DAY};
  return {.days = wholeDays < 0 ? wholeDays - time : wholeDays + time};
}

std::optional<std::int32_t> ToInteger(const Value& value) {
  return std::visit(
      [](const auto& held) -> std::optional<std::int32_t> {
        using T = std::decay_t<decltype(held)>;
        if constexpr (std::is_same_v<T, bool>) {
          return held ? -1 : 0;
        } else if constexpr (std::is_integral_v<T>) {
          return held;
        } else if constexpr (std::is_floating_point_v<T>) {
          return WholeNumber(double{held});
        } else if constexpr (std::is_same_v<T, Currency>) {
          if (held.tenThousandths % 10'000 != 0) return std::nullopt;
          return Narrow(held.tenThousandths / 10'000);
        } else if constexpr (std::is_same_v<T, Decimal>) {
          return WholeNumber(ToString(held));
        } else if constexpr (std::is_same_v<T, Text>) {
          return WholeNumber(std::string_view(held.bytes));
        } else {
          return std::nullopt;
        }
      },
      value);
}

std::optional<std::string_view> ToText(const Value& value) {
  if (const Text* text = std::get_if<Text>(&value)) return text->bytes;
  return std::nullopt;
}

std::string ToString(const Decimal& value) {
  std::string digits = Digits(value.magnitude);
  const bool isZero = digits == "0";
  if (value.scale > 0) {
    // At least one digit stands before the point.
    if (digits.size() <= value.scale) digits.insert(0, value.scale + 1U - digits.size(), '0');
    digits.insert(digits.size() - value.scale, 1, '.');
  }
  return value.isNegative && !isZero ? "-" + digits : digits;
}

std::string ToString(const Guid& value) {
  // The first three groups are numbers, stored lowest byte first.
  constexpr std::array<int, 20> ORDER = {3,  2, 1, 0,  -1, 5,  4,  -1, 7,  6,
                                         -1, 8, 9, -1, 10, 11, 12, 13, 14, 15};
  constexpr std::string_view HEX = "0123456789ABCDEF";
  std::string text = "{";
  for (const int index : ORDER) {
    if (index < 0) {
      text += '-';
      continue;
    }
    const auto byte = std::to_integer<unsigned>(value.bytes[static_cast<std::size_t>(index)]);
    text += HEX[byte >> 4];
    text += HEX[byte & 0xF];
  }
  return text + '}';
}

}  // namespace nimport::jet
