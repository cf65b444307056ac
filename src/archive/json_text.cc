#include "archive/json_text.h"

#include <nlohmann/json.hpp>

#include "text/visible.h"

namespace nimport::archive {

void AppendJsonString(std::string_view text, std::string& json) {
  // As most texts are.
  if (text.find_first_of("\"\\") == text.npos && text::IsVisible(text)) {
    json.append("\"").append(text).append("\"");
    return;
  }
  json += text::VisibleJson(
      nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
}

}  // namespace nimport::archive
