#include "jetdump/json_value.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <type_traits>

#include <nlohmann/json.hpp>

namespace nimport::jetdump {
namespace {

constexpr std::string_view NONE = "null";

// The shortest digits that read back as the same number, always with a point or an exponent.
template <typename T>
std::string FloatText(T value) {
  if (!std::isfinite(value)) return std::string(NONE);
  std::array<char, 64> buffer{};
  const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value).ptr;
  std::string text(buffer.data(), end);
  if (text.find_first_of(".e") == text.npos) text += ".0";
  return text;
}

std::string CurrencyText(jet::Currency value) {
  // Without a sign, since the lowest amount has no positive counterpart.
  const bool isNegative = value.tenThousandths < 0;
  const auto bits = static_cast<std::uint64_t>(value.tenThousandths);
  const std::uint64_t magnitude = isNegative ? 0 - bits : bits;
  std::array<char, 32> buffer{};
  std::snprintf(buffer.data(), buffer.size(), "%s%llu.%04llu", isNegative ? "-" : "",
                static_cast<unsigned long long>(magnitude / 10'000),
                static_cast<unsigned long long>(magnitude % 10'000));
  return buffer.data();
}

std::string DateText(jet::Date value) {
  const auto fields = jet::ToCalendarDate(value);
  if (!fields) return FloatText(value.days);
  std::array<char, 96> buffer{};
  std::snprintf(buffer.data(), buffer.size(), "\"%04d-%02d-%02dT%02d:%02d:%02d", fields->year,
                fields->month, fields->day, fields->hour, fields->minute, fields->second);
  std::string text = buffer.data();
  if (fields->millisecond != 0) {
    std::snprintf(buffer.data(), buffer.size(), ".%03d", fields->millisecond);
    text += buffer.data();
  }
  return text + '"';
}

std::string BinaryText(const jet::Binary& value) {
  constexpr std::string_view DIGITS = "0123456789abcdef";
  std::string text = "\"";
  text.reserve(2 * value.bytes.size() + 2);
  for (const std::byte byte : value.bytes) {
    text += DIGITS[std::to_integer<unsigned>(byte) >> 4];
    text += DIGITS[std::to_integer<unsigned>(byte) & 0xF];
  }
  return text + '"';
}

struct ValueText {
  std::string operator()(std::monostate) const { return std::string(NONE); }
  std::string operator()(bool value) const { return value ? "true" : "false"; }
  std::string operator()(std::uint8_t value) const { return std::to_string(value); }
  std::string operator()(std::int16_t value) const { return std::to_string(value); }
  std::string operator()(std::int32_t value) const { return std::to_string(value); }
  std::string operator()(float value) const { return FloatText(value); }
  std::string operator()(double value) const { return FloatText(value); }
  std::string operator()(jet::Currency value) const { return CurrencyText(value); }
  std::string operator()(jet::Date value) const { return DateText(value); }
  std::string operator()(const jet::Text& value) const { return ToJson(value.bytes); }
  std::string operator()(const jet::Binary& value) const { return BinaryText(value); }
  std::string operator()(const jet::Guid& value) const { return '"' + ToString(value) + '"'; }
  std::string operator()(const jet::Decimal& value) const { return ToString(value); }
};

}  // namespace

std::string ToJson(std::string_view text) {
  return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string ToJson(const jet::Value& value) {
  return std::visit(ValueText{}, value);
}

std::string_view TypeName(jet::ColumnType type) {
  switch (type) {
    case jet::ColumnType::Boolean:
      return "BOOLEAN";
    case jet::ColumnType::Byte:
      return "BYTE";
    case jet::ColumnType::Integer:
      return "INT";
    case jet::ColumnType::Long:
      return "LONG";
    case jet::ColumnType::Currency:
      return "MONEY";
    case jet::ColumnType::Single:
      return "FLOAT";
    case jet::ColumnType::Double:
      return "DOUBLE";
    case jet::ColumnType::DateTime:
      return "SHORT_DATE_TIME";
    case jet::ColumnType::Binary:
      return "BINARY";
    case jet::ColumnType::Text:
      return "TEXT";
    case jet::ColumnType::Ole:
      return "OLE";
    case jet::ColumnType::Memo:
      return "MEMO";
    case jet::ColumnType::Guid:
      return "GUID";
    case jet::ColumnType::Numeric:
      return "NUMERIC";
  }
  return "BINARY";
}

}  // namespace nimport::jetdump
