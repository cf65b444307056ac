#include <stdlib.h>

#include "platform/settings.h"

namespace nimport::platform {

// A program that runs with another user's rights (set-user-id) has an empty environment here: who
// calls it would choose the files that are read and written with these rights.
Settings EnvironmentSettings() {
  return [](const char* name) -> std::optional<std::string> {
    const char* value = secure_getenv(name);
    if (value == nullptr || *value == '\0') return std::nullopt;
    return std::string(value);
  };
}

}  // namespace nimport::platform
