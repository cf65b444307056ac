#include "platform/posix/wine_prefix.h"

namespace nimport::platform::posix {

std::optional<std::string> FindWinePrefix(const Settings& settings) {
  if (std::optional<std::string> prefix = settings("WINEPREFIX")) return prefix;
  const std::optional<std::string> home = settings("HOME");
  if (!home) return std::nullopt;
  return *home + "/.wine";
}

}  // namespace nimport::platform::posix
