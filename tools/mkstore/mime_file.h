#ifndef NIMPORT_TOOLS_MKSTORE_MIME_FILE_H_
#define NIMPORT_TOOLS_MKSTORE_MIME_FILE_H_

#include <optional>
#include <string>

#include "mkstore/description.h"

namespace nimport::mkstore {

// The bytes of a MIME file as a description tells them, by "lines", "text" or "base64"; empty when
// it tells none. Throws DescriptionError.
[[nodiscard]] std::optional<std::string> ReadMimeFile(const Node& mime);

}  // namespace nimport::mkstore

#endif  // NIMPORT_TOOLS_MKSTORE_MIME_FILE_H_
