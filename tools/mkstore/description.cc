#include "mkstore/description.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <limits>

#include <nlohmann/json.hpp>

#include "mkstore/encodings.h"
#include "mkstore/store_writer.h"

namespace nimport::mkstore {
namespace {

using jet::ColumnType;
using nlohmann::json;

constexpr std::size_t MAX_CONTENTS_BYTES = std::size_t{1} << 30;

// A name as one step of a JSON pointer.
std::string EscapeStep(std::string_view name) {
  std::string step;
  for (const char c : name) {
    if (c == '~') {
      step += "~0";
    } else if (c == '/') {
      step += "~1";
    } else {
      step += c;
    }
  }
  return step;
}

Contents ReadRepeated(const Node& node) {
  node.ExpectMembers({"repeat", "times"});
  Contents contents = ReadContents(node.At("repeat"));
  const auto times = static_cast<std::size_t>(
      node.At("times").ToInteger(0, std::numeric_limits<std::int32_t>::max()));
  if (times != 0 && contents.bytes.size() > MAX_CONTENTS_BYTES / times) {
    node.Fail("the contents would take more than 1 GiB");
  }
  std::string bytes;
  bytes.reserve(contents.bytes.size() * times);
  for (std::size_t i = 0; i < times; ++i)
    bytes += contents.bytes;
  contents.bytes = std::move(bytes);
  return contents;
}

Contents ReadLines(const Node& node) {
  node.ExpectMembers({"lines", "eol"});
  const std::string eol = node.TextOr("eol", "\r\n");
  Contents contents;
  for (const Node& line : node.ElementsOf("lines"))
    contents.bytes += line.ToText() + eol;
  return contents;
}

Contents ReadConcatenated(const Node& node) {
  node.ExpectMembers({"concat"});
  Contents all;
  for (const Node& part : node.ElementsOf("concat")) {
    const Contents contents = ReadContents(part);
    all.isText = all.isText && contents.isText;
    all.bytes += contents.bytes;
  }
  return all;
}

Contents ReadEncoded(const Node& node, const char* name,
                     std::optional<std::string> (*decode)(std::string_view)) {
  node.ExpectMembers({name});
  std::optional<std::string> bytes = decode(node.At(name).ToText());
  if (!bytes) node.At(name).Fail(std::string("this is no ") + name);
  return {.bytes = std::move(*bytes), .isText = false};
}

jet::Binary ToBinary(const std::string& bytes) {
  const auto* begin = reinterpret_cast<const std::byte*>(bytes.data());
  return {{begin, begin + bytes.size()}};
}

jet::Value ReadTextValue(const Node& node) {
  Contents contents = ReadContents(node);
  if (contents.isText) return jet::Text{std::move(contents.bytes)};
  return ToBinary(contents.bytes);
}

jet::Value ReadDateValue(const Node& node) {
  if (node.Json().is_number()) return jet::Date{node.ToNumber()};
  const std::optional<double> days = ParseDate(node.ToText());
  if (!days) node.Fail("\"" + node.ToText() + "\" is no date (yyyy-mm-ddThh:mm:ss)");
  return jet::Date{*days};
}

jet::Value ReadGuidValue(const Node& node) {
  std::string digits = node.ToText();
  std::erase_if(digits, [](char c) { return c == '{' || c == '}' || c == '-'; });
  const std::optional<std::string> bytes = DecodeHex(digits);
  if (!bytes || bytes->size() != 16) node.Fail("this is no GUID");
  // The first three groups are numbers, little-endian in a file.
  constexpr std::array<std::size_t, 16> ORDER = {3, 2, 1,  0,  5,  4,  7,  6,
                                                 8, 9, 10, 11, 12, 13, 14, 15};
  jet::Guid guid;
  for (std::size_t i = 0; i < ORDER.size(); ++i) {
    guid.bytes[i] = static_cast<std::byte>((*bytes)[ORDER[i]]);
  }
  return guid;
}

jet::Value ReadDecimalValue(const Node& node, std::uint8_t scale) {
  const double scaled = std::round(node.ToNumber() * std::pow(10.0, scale));
  if (std::abs(scaled) > 1e15) node.Fail("the number is too large");
  const auto magnitude = static_cast<std::uint64_t>(std::abs(scaled));
  return jet::Decimal{.magnitude = {0, 0, static_cast<std::uint32_t>(magnitude >> 32),
                                    static_cast<std::uint32_t>(magnitude)},
                      .scale = scale,
                      .isNegative = scaled < 0};
}

template <typename T>
T ReadWhole(const Node& node) {
  return static_cast<T>(
      node.ToInteger(std::numeric_limits<T>::min(), std::numeric_limits<T>::max()));
}

constexpr std::array<std::pair<std::string_view, ColumnType>, 14> TYPE_NAMES = {{
    {"Boolean", ColumnType::Boolean},
    {"Byte", ColumnType::Byte},
    {"Integer", ColumnType::Integer},
    {"Long", ColumnType::Long},
    {"Currency", ColumnType::Currency},
    {"Single", ColumnType::Single},
    {"Double", ColumnType::Double},
    {"DateTime", ColumnType::DateTime},
    {"Binary", ColumnType::Binary},
    {"Text", ColumnType::Text},
    {"Ole", ColumnType::Ole},
    {"Memo", ColumnType::Memo},
    {"Guid", ColumnType::Guid},
    {"Numeric", ColumnType::Numeric},
}};

// Reads a number of at most `maxDigits` digits and moves `text` past it; empty when none stands
// there.
std::optional<int> TakeNumber(std::string_view& text, std::size_t maxDigits) {
  int number = 0;
  const std::string_view digits = text.substr(0, maxDigits);
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (error != std::errc() || number < 0) return std::nullopt;
  text.remove_prefix(static_cast<std::size_t>(end - digits.data()));
  return number;
}

bool Take(std::string_view& text, char character) {
  if (!text.starts_with(character)) return false;
  text.remove_prefix(1);
  return true;
}

// What follows the date: "Thh:mm[:ss[.mmm]]" as a part of a day.
std::optional<double> ParseTime(std::string_view text) {
  if (text.empty()) return 0.0;
  if (!Take(text, 'T') && !Take(text, ' ')) return std::nullopt;
  const std::optional<int> hour = TakeNumber(text, 2);
  if (!hour || !Take(text, ':')) return std::nullopt;
  const std::optional<int> minute = TakeNumber(text, 2);
  int second = 0;
  int millisecond = 0;
  if (Take(text, ':')) {
    second = TakeNumber(text, 2).value_or(60);
    if (Take(text, '.')) millisecond = TakeNumber(text, 3).value_or(1000);
  }
  const bool inRange = *hour < 24 && minute && *minute < 60 && second < 60 && millisecond < 1000;
  if (!inRange || !text.empty()) return std::nullopt;
  return (((*hour * 60 + *minute) * 60 + second) * 1000.0 + millisecond) / 86'400'000.0;
}

}  // namespace

bool Node::IsNull() const {
  return value_->is_null();
}

bool Node::IsObject() const {
  return value_->is_object();
}

bool Node::Has(std::string_view name) const {
  return value_->contains(name);
}

void Node::Fail(const std::string& reason) const {
  throw DescriptionError(pointer_, reason);
}

void Node::ExpectMembers(std::initializer_list<std::string_view> names) const {
  if (!value_->is_object()) Fail("an object is wanted here");
  for (const auto& [name, member] : value_->items()) {
    if (name == "note" || std::ranges::find(names, name) != names.end()) continue;
    Node(member, pointer_ + "/" + EscapeStep(name)).Fail("there is no member of this name here");
  }
}

Node Node::At(std::string_view name) const {
  if (std::optional<Node> member = Find(name)) return *member;
  Fail("the member \"" + std::string(name) + "\" is missing");
}

std::optional<Node> Node::Find(std::string_view name) const {
  if (!value_->is_object()) Fail("an object is wanted here");
  const auto member = value_->find(name);
  if (member == value_->end()) return std::nullopt;
  return Node(*member, pointer_ + "/" + EscapeStep(name));
}

std::vector<Node> Node::Elements() const {
  if (!value_->is_array()) Fail("an array is wanted here");
  std::vector<Node> elements;
  for (std::size_t i = 0; i < value_->size(); ++i) {
    elements.emplace_back((*value_)[i], pointer_ + "/" + std::to_string(i));
  }
  return elements;
}

std::vector<Node> Node::ElementsOf(std::string_view name) const {
  const std::optional<Node> member = Find(name);
  return member ? member->Elements() : std::vector<Node>();
}

std::vector<std::pair<std::string, Node>> Node::Members() const {
  if (!value_->is_object()) Fail("an object is wanted here");
  std::vector<std::pair<std::string, Node>> members;
  for (const auto& [name, member] : value_->items()) {
    members.emplace_back(name, Node(member, pointer_ + "/" + EscapeStep(name)));
  }
  return members;
}

std::string Node::ToText() const {
  if (!value_->is_string()) Fail("a string is wanted here");
  return value_->get<std::string>();
}

bool Node::ToBool() const {
  if (!value_->is_boolean()) Fail("true or false is wanted here");
  return value_->get<bool>();
}

std::int64_t Node::ToInteger(std::int64_t min, std::int64_t max) const {
  if (!value_->is_number_integer()) Fail("a whole number is wanted here");
  const bool isHuge =
      value_->is_number_unsigned() &&
      value_->get<std::uint64_t>() > std::uint64_t{std::numeric_limits<std::int64_t>::max()};
  const std::int64_t number = isHuge ? max : value_->get<std::int64_t>();
  if (isHuge || number < min || number > max) {
    Fail("the number is not between " + std::to_string(min) + " and " + std::to_string(max));
  }
  return number;
}

double Node::ToNumber() const {
  if (!value_->is_number()) Fail("a number is wanted here");
  return value_->get<double>();
}

std::string Node::TextOr(std::string_view name, const std::string& absent) const {
  const std::optional<Node> member = Find(name);
  return member ? member->ToText() : absent;
}

bool Node::BoolOr(std::string_view name, bool absent) const {
  const std::optional<Node> member = Find(name);
  return member ? member->ToBool() : absent;
}

std::int64_t Node::IntegerOr(std::string_view name, std::int64_t absent, std::int64_t min,
                             std::int64_t max) const {
  const std::optional<Node> member = Find(name);
  return member ? member->ToInteger(min, max) : absent;
}

Contents ReadContents(const Node& node) {
  if (!node.IsObject()) return {.bytes = node.ToText(), .isText = true};
  if (node.Has("repeat")) return ReadRepeated(node);
  if (node.Has("lines")) return ReadLines(node);
  if (node.Has("concat")) return ReadConcatenated(node);
  if (node.Has("base64")) return ReadEncoded(node, "base64", DecodeBase64);
  if (node.Has("hex")) return ReadEncoded(node, "hex", DecodeHex);
  node.Fail("one of \"repeat\", \"lines\", \"concat\", \"base64\" and \"hex\" is wanted here");
}

jet::Value ReadValue(const Node& node, const jetwriter::ColumnSpec& column) {
  if (node.IsNull()) return {};
  switch (column.type) {
    case ColumnType::Boolean:
      return node.ToBool();
    case ColumnType::Byte:
      return ReadWhole<std::uint8_t>(node);
    case ColumnType::Integer:
      return ReadWhole<std::int16_t>(node);
    case ColumnType::Long:
      return ReadWhole<std::int32_t>(node);
    case ColumnType::Currency:
      return jet::Currency{static_cast<std::int64_t>(std::llround(node.ToNumber() * 10'000))};
    case ColumnType::Single:
      return static_cast<float>(node.ToNumber());
    case ColumnType::Double:
      return node.ToNumber();
    case ColumnType::DateTime:
      return ReadDateValue(node);
    case ColumnType::Text:
    case ColumnType::Memo:
      return ReadTextValue(node);
    case ColumnType::Binary:
    case ColumnType::Ole:
      return ToBinary(ReadContents(node).bytes);
    case ColumnType::Guid:
      return ReadGuidValue(node);
    case ColumnType::Numeric:
      return ReadDecimalValue(node, column.scale);
  }
  node.Fail("the column's type is unknown");
}

jetwriter::ColumnSpec ReadColumn(const Node& node) {
  const std::string text = node.ToText();
  const std::size_t blank = text.rfind(' ');
  if (blank == std::string::npos || blank == 0) node.Fail("\"Name Type\" is wanted here");
  const std::string_view typeText = std::string_view(text).substr(blank + 1);
  const std::string_view typeName = typeText.substr(0, typeText.find('('));
  jetwriter::ColumnSpec column{.name = text.substr(0, blank)};
  const auto type = std::ranges::find(TYPE_NAMES, typeName, [](const auto& t) { return t.first; });
  if (type == TYPE_NAMES.end()) {
    node.Fail("there is no column type \"" + std::string(typeName) + "\"");
  }
  column.type = type->second;
  if (std::string_view size = typeText.substr(typeName.size()); Take(size, '(')) {
    const std::optional<int> number = TakeNumber(size, 3);
    if (!number || size != ")") node.Fail("a size such as (64) is wanted after the type");
    column.size = static_cast<std::uint16_t>(*number);
    column.scale = static_cast<std::uint8_t>(*number);
  }
  return column;
}

std::optional<double> ParseDate(std::string_view text) {
  const std::optional<int> year = TakeNumber(text, 4);
  if (!year || !Take(text, '-')) return std::nullopt;
  const std::optional<int> month = TakeNumber(text, 2);
  if (!month || !Take(text, '-')) return std::nullopt;
  const std::optional<int> day = TakeNumber(text, 2);
  if (!day) return std::nullopt;
  const std::chrono::year_month_day date{std::chrono::year(*year),
                                         std::chrono::month(static_cast<unsigned>(*month)),
                                         std::chrono::day(static_cast<unsigned>(*day))};
  const std::optional<double> time = ParseTime(text);
  if (!date.ok() || !time) return std::nullopt;
  constexpr std::chrono::sys_days DAY_ZERO = std::chrono::year(1899) / std::chrono::December / 30;
  const double days = static_cast<double>((std::chrono::sys_days(date) - DAY_ZERO).count());
  // The time of day counts forward also before day 0, where the number is negative.
  return days < 0 ? days - *time : days + *time;
}

}  // namespace nimport::mkstore
