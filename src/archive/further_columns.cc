#include "archive/further_columns.h"

#include <optional>
#include <variant>

#include "archive/json_text.h"
#include "jet/value_text.h"
#include "text/ascii.h"
#include "text/byte_set.h"

namespace nimport::archive {

namespace {

constexpr std::string_view FIELD = "X-Nimport-Column";
constexpr std::string_view FOLDER_COLUMN = "FolderNo";
// Longer texts are for the index.
constexpr std::size_t MAX_TEXT_BYTES = 200;

bool IsNumber(const jet::Value& value) {
  using jet::Value;
  return !jet::IsNull(value) && !std::holds_alternative<bool>(value) &&
         !std::holds_alternative<jet::Date>(value) && !std::holds_alternative<jet::Text>(value) &&
         !std::holds_alternative<jet::Binary>(value) && !std::holds_alternative<jet::Guid>(value);
}

// What stands in a header; empty for what does not.
std::string HeaderValue(const jet::Value& value) {
  if (const auto* text = std::get_if<jet::Text>(&value)) {
    constexpr text::ByteSet LINE_END("\r\n");
    const bool isShort = text->bytes.size() <= MAX_TEXT_BYTES && !LINE_END.IsAnyIn(text->bytes);
    return isShort ? std::string(text::Trim(text->bytes)) : std::string();
  }
  if (!IsNumber(value)) return {};
  std::string number = jet::ToPlainText(value);
  const bool isZero = number.find_first_not_of("0.-") == std::string::npos;
  return isZero ? std::string() : number;
}

void AppendValue(const jet::Value& value, std::string& json) {
  if (jet::IsNull(value)) {
    json += "null";
  } else if (IsNumber(value) || std::holds_alternative<bool>(value)) {
    const std::string plain = jet::ToPlainText(value);
    json += plain.empty() ? "null" : plain;
  } else {
    AppendJsonString(jet::ToPlainText(value), json);
  }
}

}  // namespace

std::vector<HeaderText> ColumnFields(const std::vector<store::FurtherColumn>& columns) {
  std::vector<HeaderText> fields;
  for (const store::FurtherColumn& column : columns) {
    if (!column.value.value || text::EqualsIgnoringCase(column.name, FOLDER_COLUMN)) continue;
    const std::string value = HeaderValue(*column.value.value);
    if (!value.empty()) fields.push_back({std::string(FIELD), column.name + '=' + value});
  }
  return fields;
}

std::string ColumnsToJson(const std::vector<store::FurtherColumn>& columns) {
  std::string json = "{";
  for (const store::FurtherColumn& column : columns) {
    if (json.size() > 1) json += ", ";
    AppendJsonString(column.name, json);
    json += ": ";
    AppendValue(column.value.value.value_or(jet::Value()), json);
  }
  return json + '}';
}

}  // namespace nimport::archive
