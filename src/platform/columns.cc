#include "platform/columns.h"

#include <utility>
#include <variant>

#include "jet/value.h"
#include "text/code_page_932.h"

namespace nimport::platform {

std::int32_t NumberOf(const jet::Value& value) {
  return jet::ToInteger(value).value_or(0);
}

std::string_view TextOf(const jet::Value& value) {
  const auto* text = std::get_if<jet::Text>(&value);
  return text == nullptr ? std::string_view() : text::UpToNul(text->bytes);
}

std::int32_t ReadNumber(const jet::Recordset& recordset, std::string_view column) {
  return NumberOf(recordset.GetFieldValue(column));
}

std::optional<std::string> ReadText(const jet::Recordset& recordset, std::string_view column) {
  jet::Value value = recordset.GetFieldValue(column);
  if (jet::IsNull(value)) return std::nullopt;
  auto* text = std::get_if<jet::Text>(&value);
  if (text == nullptr) return std::string();
  const std::string_view kept = text::UpToNul(text->bytes);
  if (kept.size() < text->bytes.size()) return std::string(kept);
  return std::move(text->bytes);
}

}  // namespace nimport::platform
