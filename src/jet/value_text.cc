#include "jet/value_text.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string_view>

namespace nimport::jet {
namespace {

template <typename T>
std::string FloatText(T value) {
  if (!std::isfinite(value)) return {};
  std::array<char, 64> buffer{};
  const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value).ptr;
  std::string text(buffer.data(), end);
  if (text.find_first_of(".e") == text.npos) text += ".0";
  return text;
}

struct PlainText {
  std::string operator()(std::monostate) const { return {}; }
  std::string operator()(bool value) const { return value ? "true" : "false"; }
  std::string operator()(std::uint8_t value) const { return std::to_string(value); }
  std::string operator()(std::int16_t value) const { return std::to_string(value); }
  std::string operator()(std::int32_t value) const { return std::to_string(value); }
  std::string operator()(const Text& value) const { return value.bytes; }
  template <typename T>
  std::string operator()(const T& value) const {
    return ToString(value);
  }
};

}  // namespace

std::string ToString(float value) {
  return FloatText(value);
}

std::string ToString(double value) {
  return FloatText(value);
}

std::string ToString(Currency value) {
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

std::string ToString(Date value) {
  const auto fields = ToCalendarDate(value);
  if (!fields) return ToString(value.days);
  std::array<char, 96> buffer{};
  std::snprintf(buffer.data(), buffer.size(), "%04d-%02d-%02dT%02d:%02d:%02d", fields->year,
                fields->month, fields->day, fields->hour, fields->minute, fields->second);
  std::string text = buffer.data();
  if (fields->millisecond != 0) {
    std::snprintf(buffer.data(), buffer.size(), ".%03d", fields->millisecond);
    text += buffer.data();
  }
  return text;
}

std::string ToString(const Binary& value) {
  constexpr std::string_view DIGITS = "0123456789abcdef";
  std::string text;
  text.reserve(2 * value.bytes.size());
  for (const std::byte byte : value.bytes) {
    text += DIGITS[std::to_integer<unsigned>(byte) >> 4];
    text += DIGITS[std::to_integer<unsigned>(byte) & 0xF];
  }
  return text;
}

std::string ToPlainText(const Value& value) {
  return std::visit(PlainText{}, value);
}

}  // namespace nimport::jet
