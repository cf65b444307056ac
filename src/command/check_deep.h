// nimport check --deep: reads everything that there is in the store, and writes nothing.
#ifndef NIMPORT_COMMAND_CHECK_DEEP_H_
#define NIMPORT_COMMAND_CHECK_DEEP_H_

#include <nlohmann/json_fwd.hpp>

#include "command/store_location.h"

namespace nimport::command {

// Puts what was found into `json`; see docs/nimport-command.md. "sound" says whether nothing is
// wrong; it is null after an interruption that came before anything wrong was found.
void CheckDeep(StorePlatform& platform, nlohmann::ordered_json& json);

// The same for people, on stdout.
void PrintDeepCheck(const nlohmann::ordered_json& answer);

}  // namespace nimport::command

#endif  // NIMPORT_COMMAND_CHECK_DEEP_H_
