#ifndef NIMPORT_PLATFORM_ZONE_CLOCK_H_
#define NIMPORT_PLATFORM_ZONE_CLOCK_H_

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/clock.h"

namespace nimport::platform {

// The file that the system's zone database has for a zone of this name; empty where there is none,
// as on Windows, whose zones have other names and forms.
[[nodiscard]] std::optional<std::string> ReadZoneFile(const std::string& zoneName);

// The clock of a zone that is named, whatever zone the machine is in: "Asia/Tokyo" and "UTC", which
// every machine knows, other names of the zone database, or what the zone adds to UTC ("+09:00",
// "-0330", "+9"). Null for a zone that is not known.
[[nodiscard]] std::unique_ptr<Clock> MakeZoneClock(std::string_view zone);

}  // namespace nimport::platform

#endif  // NIMPORT_PLATFORM_ZONE_CLOCK_H_
