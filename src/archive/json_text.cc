#include "archive/json_text.h"

#include <algorithm>

#include <nlohmann/json.hpp>

#include "text/visible.h"

namespace nimport::archive {

void AppendJsonString(std::string_view text, std::string& json) {
  const auto isPlain = [](char c) { return c >= ' ' && c < 0x7F && c != '"' && c != '\\'; };
  if (std::ranges::all_of(text, isPlain)) {
    json.append("\"").append(text).append("\"");
    return;
  }
  json += text::VisibleJson(
      nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
}

}  // namespace nimport::archive
