// nimport check --deep: reads everything that there is in the store, and writes nothing.
#ifndef NIMPORT_HOST_COMMAND_CHECK_DEEP_H_
#define NIMPORT_HOST_COMMAND_CHECK_DEEP_H_

#include <nlohmann/json_fwd.hpp>

#include "host/library.h"

namespace nimport::command {

// What was found, as JSON; see docs/nimport-command.md. "sound" says whether nothing is wrong.
[[nodiscard]] nlohmann::ordered_json CheckDeep(const host::Library& library);

// The same for people, on stdout.
void PrintDeepCheck(const nlohmann::ordered_json& answer);

}  // namespace nimport::command

#endif  // NIMPORT_HOST_COMMAND_CHECK_DEEP_H_
