#ifndef NIMPORT_PLATFORM_POSIX_SETTINGS_H_
#define NIMPORT_PLATFORM_POSIX_SETTINGS_H_

#include <functional>
#include <optional>
#include <string>

namespace nimport::platform::posix {

// Answers the value of a setting by its name (NIMPORT_DRIVES, WINEPREFIX, TMPDIR...), afresh at
// every call. A setting that is there but empty counts as absent.
using Settings = std::function<std::optional<std::string>(const char* name)>;

// The process's environment.
[[nodiscard]] Settings EnvironmentSettings();

// The directory of the Wine prefix in use: WINEPREFIX, else ".wine" in HOME. Empty when neither is
// set.
[[nodiscard]] std::optional<std::string> FindWinePrefix(const Settings& settings);

}  // namespace nimport::platform::posix

#endif  // NIMPORT_PLATFORM_POSIX_SETTINGS_H_
