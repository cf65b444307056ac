#include <cstdlib>

#include "platform/settings.h"

namespace nimport::platform {

Settings EnvironmentSettings() {
  return [](const char* name) -> std::optional<std::string> {
    const char* value = std::getenv(name);
    if (value == nullptr || *value == '\0') return std::nullopt;
    return std::string(value);
  };
}

}  // namespace nimport::platform
