#include "archive/json_text.h"

#include <nlohmann/json.hpp>

#include "text/byte_set.h"
#include "text/visible.h"

namespace nimport::archive {

void AppendJsonString(std::string_view text, std::string& json) {
  // As most texts are.
  constexpr text::ByteSet ESCAPED("\"\\");
  if (!ESCAPED.IsAnyIn(text) && text::IsVisible(text)) {
    json.append("\"").append(text).append("\"");
    return;
  }
  json += text::VisibleJson(
      nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
}

}  // namespace nimport::archive
