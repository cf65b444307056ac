#include "platform/diagnostics.h"

#include <nlohmann/json.hpp>

namespace nimport::platform {
namespace {

using Json = nlohmann::ordered_json;

void Add(Json& line, const char* name, const std::string& text) {
  if (!text.empty()) line[name] = text;
}

template <typename Number>
void Add(Json& line, const char* name, const std::optional<Number>& number) {
  if (number) line[name] = *number;
}

}  // namespace

std::string ToJsonLine(const FailureRecord& record) {
  Json line;
  line["function"] = record.function;
  line["code"] = record.code;
  if (record.isNote) line["note"] = true;
  line["reason"] = record.reason;
  Add(line, "file", record.file);
  Add(line, "page", record.page);
  Add(line, "table", record.table);
  Add(line, "slot", record.slot);
  Add(line, "folder", record.folder);
  Add(line, "mail", record.mail);
  Add(line, "dataNo", record.dataNo);
  return line.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n';
}

}  // namespace nimport::platform
