#include "command/json_text.h"

#include <nlohmann/json.hpp>

#include "text/visible.h"

namespace nimport::command {

std::string ToText(const nlohmann::ordered_json& json) {
  return text::VisibleJson(json.dump(2, ' ', false, nlohmann::json::error_handler_t::replace)) +
         '\n';
}

}  // namespace nimport::command
