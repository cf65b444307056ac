#include "jet/query/expression/expression_value.h"

#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <span>
#include <string_view>
#include <system_error>
#include <type_traits>

#include "jet/query/expression/query_budget.h"

namespace nimport::jet {
namespace {

template <typename... Cases>
struct Overloaded : Cases... {
  using Cases::operator()...;
};
// Standard C++20 needs no guide here; clang 14 does.
template <typename... Cases>
Overloaded(Cases...) -> Overloaded<Cases...>;

constexpr double TEN_THOUSAND = 10000.0;

// What a sort key of a value begins with.
enum KeyKind : char { NULL_KEY, NUMBER_KEY, TEXT_KEY, BINARY_KEY };

double ToDouble(const Decimal& value) {
  double number = 0;
  for (const std::uint32_t word : value.magnitude)
    number = number * 4294967296.0 + word;
  number /= std::pow(10.0, value.scale);
  return value.isNegative ? -number : number;
}

std::optional<double> ParseDecimal(std::string_view text) {
  double number = 0;
  const char* end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, number);
  if (result.ec != std::errc{} || result.ptr != end || !std::isfinite(number)) return std::nullopt;
  return number;
}

std::optional<std::span<const std::byte>> ToBytes(const Value& value) {
  if (const auto* binary = std::get_if<Binary>(&value)) return binary->bytes;
  if (const auto* guid = std::get_if<Guid>(&value)) return guid->bytes;
  return std::nullopt;
}

void AppendBigEndian(std::uint64_t bits, std::string& key) {
  for (int shift = 56; shift >= 0; shift -= 8)
    key += static_cast<char>(bits >> shift);
}

void AppendNumber(double number, std::string& key) {
  constexpr std::uint64_t SIGN = std::uint64_t{1} << 63;
  if (number == 0) number = 0;  // both zeros are one value
  const auto bits = std::bit_cast<std::uint64_t>(number);
  // Of negative numbers the greater bits belong to the smaller number.
  AppendBigEndian((bits & SIGN) != 0 ? ~bits : bits | SIGN, key);
}

void AppendText(const std::u16string& text, std::string& key) {
  for (const char16_t unit : text) {
    // Two zero bytes end the text, so no unit may become them.
    const unsigned code = unit == 0xFFFF ? unit : unit + 1U;
    key += static_cast<char>(code >> 8);
    key += static_cast<char>(code & 0xFF);
  }
  key.append(2, '\0');
}

void AppendBinary(std::span<const std::byte> bytes, std::string& key) {
  for (const std::byte byte : bytes) {
    key += '\1';
    key += static_cast<char>(byte);
  }
  key += '\0';
}

std::string FormatNumber(double number) {
  std::array<char, 40> buffer{};
  constexpr int DIGITS = 15;  // what Jet shows of a double
  const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), number,
                                    std::chars_format::general, DIGITS);
  return {buffer.data(), result.ptr};
}

std::string FormatDate(Date date) {
  const auto fields = ToCalendarDate(date);
  if (!fields) return FormatNumber(date.days);
  std::array<char, 64> buffer{};
  const bool hasTime = fields->hour != 0 || fields->minute != 0 || fields->second != 0;
  if (hasTime) {
    std::snprintf(buffer.data(), buffer.size(), "%04d/%02d/%02d %d:%02d:%02d", fields->year,
                  fields->month, fields->day, fields->hour, fields->minute, fields->second);
  } else {
    std::snprintf(buffer.data(), buffer.size(), "%04d/%02d/%02d", fields->year, fields->month,
                  fields->day);
  }
  return buffer.data();
}

}  // namespace

std::optional<double> ToNumber(const Value& value) {
  using Result = std::optional<double>;
  return std::visit(
      Overloaded{
          [](bool truth) -> Result { return truth ? -1.0 : 0.0; },
          [](const Currency& amount) -> Result {
            return static_cast<double>(amount.tenThousandths) / TEN_THOUSAND;
          },
          [](const Date& date) -> Result { return date.days; },
          [](const Decimal& decimal) -> Result { return ToDouble(decimal); },
          [](const Text& text) -> Result { return ParseDecimal(text.bytes); },
          [](const auto& other) -> Result {
            if constexpr (std::is_arithmetic_v<std::remove_cvref_t<decltype(other)>>) {
              return static_cast<double>(other);
            } else {
              return std::nullopt;
            }
          },
      },
      value);
}

std::partial_ordering CompareValues(const Value& left, const Value& right, const TextRules& texts) {
  const auto leftText = ToText(left);
  const auto rightText = ToText(right);
  if (leftText && rightText) return texts.Compare(*leftText, *rightText);
  const auto* leftAmount = std::get_if<Currency>(&left);
  const auto* rightAmount = std::get_if<Currency>(&right);
  if (leftAmount != nullptr && rightAmount != nullptr) {
    return leftAmount->tenThousandths <=> rightAmount->tenThousandths;
  }
  const auto leftBytes = ToBytes(left);
  const auto rightBytes = ToBytes(right);
  if (leftBytes && rightBytes) {
    return std::lexicographical_compare_three_way(leftBytes->begin(), leftBytes->end(),
                                                  rightBytes->begin(), rightBytes->end());
  }
  const auto leftNumber = ToNumber(left);
  const auto rightNumber = ToNumber(right);
  if (leftNumber && rightNumber) return *leftNumber <=> *rightNumber;
  return std::partial_ordering::unordered;
}

void AppendSortKey(const Value& value, const TextRules& texts, std::string& key,
                   QueryBudget& budget) {
  if (const auto text = ToText(value)) {
    // The key so far, the converted text, and both as one key.
    const MemoryHold hold(budget, 2 * key.size() + 3 * sizeof(char16_t) * text->size());
    budget.Work(STEPS_PER_TEXT_BYTE * text->size());
    key += TEXT_KEY;
    AppendText(texts.Fold(*text), key);
  } else if (const auto number = ToNumber(value)) {
    key += NUMBER_KEY;
    AppendNumber(*number, key);
  } else if (const auto bytes = ToBytes(value)) {
    const MemoryHold hold(budget, 2 * key.size() + 4 * bytes->size());
    budget.Work(STEPS_PER_TEXT_BYTE * bytes->size());
    key += BINARY_KEY;
    AppendBinary(*bytes, key);
  } else {
    key += NULL_KEY;
  }
}

std::string ToDisplayText(const Value& value) {
  return std::visit(Overloaded{
                        [](const std::monostate&) { return std::string(); },
                        [](bool truth) { return std::string(truth ? "-1" : "0"); },
                        [](const Text& text) { return text.bytes; },
                        [](const Date& date) { return FormatDate(date); },
                        [](const Decimal& decimal) { return ToString(decimal); },
                        [](const Guid& guid) { return ToString(guid); },
                        [](const Binary&) { return std::string(); },
                        [&value](const auto&) { return FormatNumber(ToNumber(value).value_or(0)); },
                    },
                    value);
}

}  // namespace nimport::jet
