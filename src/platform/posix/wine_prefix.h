#ifndef NIMPORT_PLATFORM_POSIX_WINE_PREFIX_H_
#define NIMPORT_PLATFORM_POSIX_WINE_PREFIX_H_

#include <optional>
#include <string>

#include "platform/settings.h"

namespace nimport::platform::posix {

// The directory of the Wine prefix in use: WINEPREFIX, else ".wine" in HOME. Empty when neither is
// set.
[[nodiscard]] std::optional<std::string> FindWinePrefix(const Settings& settings);

}  // namespace nimport::platform::posix

#endif  // NIMPORT_PLATFORM_POSIX_WINE_PREFIX_H_
