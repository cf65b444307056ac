// A mail's bodies: how many there are, and each one written to a temporary file.
#ifndef NIMPORT_PLUGIN_CONTENTS_MAIL_BODIES_H_
#define NIMPORT_PLUGIN_CONTENTS_MAIL_BODIES_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "plugin/contents/temporary_files.h"

namespace nimport::plugin {

// What a file holds that stands for contents that are not handed out: "DEFAULT" and a NUL.
inline constexpr std::string_view PLACEHOLDER_BODY{"DEFAULT\0", 8};

// A mail with more main parts than this is refused.
inline constexpr std::int32_t MAX_MAIN_PARTS = 1000;

// The number of bodies; remembers the parts of a MIME mail in the store, by which its bodies are
// numbered. Throws Failure: as FindMailRow for mails whose bodies are counted; -3 for a MIME file
// that is missing, has too many parts or a damaged related structure; whatever the MIME library
// answers when it cannot parse the mail (0 counts as no bodies).
[[nodiscard]] std::int32_t CountMailBodies(Extraction& extraction, std::int32_t folderIndex,
                                           std::int32_t mailIndex);

// Writes a body to a temporary file and returns its path. `bodyIndex` counts for MIME mails only.
// Throws Failure: as FindMailRow; -3 when there is no such body or it cannot be written completely,
// -2 when a file cannot be opened, read or written.
[[nodiscard]] std::string WriteMailBody(Extraction& extraction, std::int32_t folderIndex,
                                        std::int32_t mailIndex, std::int32_t bodyIndex);

}  // namespace nimport::plugin

#endif  // NIMPORT_PLUGIN_CONTENTS_MAIL_BODIES_H_
