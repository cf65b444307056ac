// Columns' types and the values that they hold.
#ifndef NIMPORT_JET_VALUE_H_
#define NIMPORT_JET_VALUE_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace nimport::jet {

// The type of a column; the numbers are those of the file.
enum class ColumnType : std::uint8_t {
  Boolean = 0x01,
  Byte = 0x02,
  Integer = 0x03,
  Long = 0x04,
  Currency = 0x05,
  Single = 0x06,
  Double = 0x07,
  DateTime = 0x08,
  Binary = 0x09,
  Text = 0x0A,
  Ole = 0x0B,
  Memo = 0x0C,
  Guid = 0x0F,
  Numeric = 0x10,
};

// Amount of money in ten-thousandths.
struct Currency {
  std::int64_t tenThousandths = 0;
  friend bool operator==(const Currency&, const Currency&) = default;
};

// A date and time as stored: days since 1899-12-30 00:00, local time without a zone. The fraction
// is the time of day and counts forward, also in dates before day 0.
struct Date {
  double days = 0;
  friend bool operator==(const Date&, const Date&) = default;
};

// Fields of a date in the proleptic Gregorian calendar.
struct CalendarDate {
  int year = 0;
  int month = 0;
  int day = 0;
  int hour = 0;
  int minute = 0;
  int second = 0;
  int millisecond = 0;
};

// Empty when the value is not finite or lies outside the years 100 to 9999. The time is rounded to
// milliseconds.
[[nodiscard]] std::optional<CalendarDate> ToCalendarDate(Date date);

// The inverse of ToCalendarDate, for valid fields.
[[nodiscard]] Date ToDate(const CalendarDate& fields);

// Text in the code page that the database was opened with (OpenOptions::textCodePage).
struct Text {
  std::string bytes;
  friend bool operator==(const Text&, const Text&) = default;
};

struct Binary {
  std::vector<std::byte> bytes;
  friend bool operator==(const Binary&, const Binary&) = default;
};

// As stored: Windows byte order.
struct Guid {
  std::array<std::byte, 16> bytes{};
  friend bool operator==(const Guid&, const Guid&) = default;
};

// magnitude / 10^scale, negative when isNegative. `magnitude` holds 32-bit words, most significant
// first.
struct Decimal {
  std::array<std::uint32_t, 4> magnitude{};
  std::uint8_t scale = 0;
  bool isNegative = false;
  friend bool operator==(const Decimal&, const Decimal&) = default;
};

// std::monostate is null.
using Value = std::variant<std::monostate, bool, std::uint8_t, std::int16_t, std::int32_t, Currency,
                           float, double, Date, Text, Binary, Guid, Decimal>;

[[nodiscard]] inline bool IsNull(const Value& value) {
  return std::holds_alternative<std::monostate>(value);
}

// The value as a 32-bit integer: whole numbers of every width (8 bits without, 16 bits with sign),
// booleans (true is -1), other numbers that are whole and in range, and a text that is a decimal
// number. Empty for null and everything else.
[[nodiscard]] std::optional<std::int32_t> ToInteger(const Value& value);

// The value's text; empty for anything but Text.
[[nodiscard]] std::optional<std::string_view> ToText(const Value& value);

// Digits of a decimal number, "-12.50"; "{00010203-0405-0607-0809-0A0B0C0D0E0F}".
[[nodiscard]] std::string ToString(const Decimal& value);
[[nodiscard]] std::string ToString(const Guid& value);

}  // namespace nimport::jet

#endif  // NIMPORT_JET_VALUE_H_
