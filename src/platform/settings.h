#ifndef NIMPORT_PLATFORM_SETTINGS_H_
#define NIMPORT_PLATFORM_SETTINGS_H_

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace nimport::platform {

// Answers the value of a setting by its name (NIMPORT_DRIVES, WINEPREFIX, TMPDIR...), UTF-8, afresh
// at every call. A setting that is there but empty counts as absent.
using Settings = std::function<std::optional<std::string>(const char* name)>;

// The process's environment.
[[nodiscard]] Settings EnvironmentSettings();

// NIMPORT_PLATFORM_ID, else `usual`. Empty when that is no number.
[[nodiscard]] std::optional<int> ReadPlatformId(const Settings& settings, std::optional<int> usual);

// Whether NIMPORT_SALVAGE is 1.
[[nodiscard]] bool ReadIsSalvaging(const Settings& settings);

// Whether NIMPORT_CONFINE is 1: paths that stand in a store lead only to the drives of
// NIMPORT_DRIVES and to the drive that holds the store, and no link leads out of them.
[[nodiscard]] bool ReadIsConfined(const Settings& settings);

// The entries of a setting that is a list, with `separator` between them; empty ones are left out.
// A list that begins with NUL has NUL between its entries instead: no path holds one, and a program
// that makes its settings itself can so give paths that hold the separator.
[[nodiscard]] std::vector<std::string_view> SplitList(std::string_view list, char separator);

// The drives of NIMPORT_DRIVES, a letter from A to Z and a native directory each.
[[nodiscard]] std::vector<std::pair<char, std::string>> ReadDrives(const Settings& settings);

// The native directory that NIMPORT_DRIVES ("C=/mnt/disk;D=/srv/data") gives a drive, a letter from
// A to Z. Empty when it gives none.
[[nodiscard]] std::optional<std::string> ReadDrive(const Settings& settings, char letter);

}  // namespace nimport::platform

#endif  // NIMPORT_PLATFORM_SETTINGS_H_
