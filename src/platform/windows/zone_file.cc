#include "platform/zone_clock.h"

namespace nimport::platform {

std::optional<std::string> ReadZoneFile(const std::string& /*zoneName*/) {
  return std::nullopt;
}

}  // namespace nimport::platform
