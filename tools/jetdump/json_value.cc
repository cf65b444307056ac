#include "jetdump/json_value.h"

#include <utility>

#include <nlohmann/json.hpp>

#include "jet/value_text.h"

namespace nimport::jetdump {
namespace {

constexpr std::string_view NONE = "null";

std::string OrNone(std::string number) {
  return number.empty() ? std::string(NONE) : std::move(number);
}

std::string Quoted(const std::string& plain) {
  return '"' + plain + '"';
}

struct ValueText {
  std::string operator()(std::monostate) const { return std::string(NONE); }
  std::string operator()(bool value) const { return value ? "true" : "false"; }
  std::string operator()(std::uint8_t value) const { return std::to_string(value); }
  std::string operator()(std::int16_t value) const { return std::to_string(value); }
  std::string operator()(std::int32_t value) const { return std::to_string(value); }
  std::string operator()(float value) const { return OrNone(jet::ToString(value)); }
  std::string operator()(double value) const { return OrNone(jet::ToString(value)); }
  std::string operator()(jet::Currency value) const { return jet::ToString(value); }
  std::string operator()(jet::Date value) const {
    return jet::ToCalendarDate(value) ? Quoted(jet::ToString(value))
                                      : OrNone(jet::ToString(value.days));
  }
  std::string operator()(const jet::Text& value) const { return ToJson(value.bytes); }
  std::string operator()(const jet::Binary& value) const { return Quoted(jet::ToString(value)); }
  std::string operator()(const jet::Guid& value) const { return Quoted(ToString(value)); }
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
