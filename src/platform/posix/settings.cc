#include "platform/posix/settings.h"

#include <cstdlib>

namespace nimport::platform::posix {

Settings EnvironmentSettings() {
  return [](const char* name) -> std::optional<std::string> {
    const char* value = std::getenv(name);
    if (value == nullptr || *value == '\0') return std::nullopt;
    return std::string(value);
  };
}

std::optional<std::string> FindWinePrefix(const Settings& settings) {
  if (std::optional<std::string> prefix = settings("WINEPREFIX")) return prefix;
  const std::optional<std::string> home = settings("HOME");
  if (!home) return std::nullopt;
  return *home + "/.wine";
}

}  // namespace nimport::platform::posix
