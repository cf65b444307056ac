#ifndef NIMPORT_COMMAND_JSON_TEXT_H_
#define NIMPORT_COMMAND_JSON_TEXT_H_

#include <string>

#include <nlohmann/json_fwd.hpp>

namespace nimport::command {

// `json` in lines, with a line end after it. What is no UTF-8 (names of files may be anything)
// becomes U+FFFD. No control character stands in it but line ends; see VisibleJson.
[[nodiscard]] std::string ToText(const nlohmann::ordered_json& json);

}  // namespace nimport::command

#endif  // NIMPORT_COMMAND_JSON_TEXT_H_
