#ifndef NIMPORT_PLUGIN_CONTENTS_RELATED_PART_FILES_H_
#define NIMPORT_PLUGIN_CONTENTS_RELATED_PART_FILES_H_

#include <cstdint>
#include <string>

#include "plugin/contents/temporary_files.h"

namespace nimport::plugin {

// Writes related part `number` of the mail whose bodies were counted last to a temporary file and
// returns its path. That mail must be the MIME library's current mail. Throws Failure: -3 when
// there is no such part; -2 when the file cannot be written or the part is empty.
[[nodiscard]] std::string WriteRelatedPart(Extraction& extraction, std::int32_t number);

}  // namespace nimport::plugin

#endif  // NIMPORT_PLUGIN_CONTENTS_RELATED_PART_FILES_H_
