// Drives of the old machine that nobody has given, though files of the store lie there.
#ifndef NIMPORT_COMMAND_DRIVE_HINTS_H_
#define NIMPORT_COMMAND_DRIVE_HINTS_H_

#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "command/store_location.h"

namespace nimport::command {

// One for each drive on which none of the store's files is found: "drive", "files" (how many paths
// name it), and where a directory probably is that drive "likely" and, of "tried" paths, how many
// were "found" there. Empty where the settings lead to no store.
[[nodiscard]] nlohmann::ordered_json FindDriveHints(StorePlatform& platform);

// A hint as a sentence, UTF-8.
[[nodiscard]] std::string ToSentence(const nlohmann::ordered_json& hint);

}  // namespace nimport::command

#endif  // NIMPORT_COMMAND_DRIVE_HINTS_H_
