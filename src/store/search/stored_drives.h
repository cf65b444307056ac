// The drives of the old machine that a store names, by the paths in its rows.
#ifndef NIMPORT_STORE_SEARCH_STORED_DRIVES_H_
#define NIMPORT_STORE_SEARCH_STORED_DRIVES_H_

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/platform.h"

namespace nimport::store {

// A drive, and paths of files that were on it.
struct StoredDrive {
  char letter = 'C';
  std::uint64_t fileCount = 0;     // paths in the store
  std::vector<std::string> paths;  // some of them, from everywhere in the store; code page 932
};

// The drives that stand in columns for paths of the mail database that the platform's settings lead
// to, by letter. What is damaged is left out: whoever reads the mails hears of it. Throws Failure
// (-3) when the settings name no database directory.
[[nodiscard]] std::vector<StoredDrive> ReadStoredDrives(platform::Platform& platform);

// How many of the drive's paths lead to a file where the platform looks for it.
[[nodiscard]] std::size_t CountReachable(platform::Platform& platform, const StoredDrive& drive);

// A directory that a drive probably stands for.
struct DriveGuess {
  std::filesystem::path directory;
  std::size_t foundCount = 0;  // of the drive's paths, files that are there
};

// Compares the paths with what is there: beneath the directories around `databaseDirectory`, which
// exists, beneath those beside them, and beneath `others`. Where no file is there any more, the
// directories of the paths count. Empty when nothing fits.
[[nodiscard]] std::optional<DriveGuess> GuessDrive(
    const StoredDrive& drive, const std::filesystem::path& databaseDirectory,
    std::span<const std::filesystem::path> others = {});

}  // namespace nimport::store

#endif  // NIMPORT_STORE_SEARCH_STORED_DRIVES_H_
