// Content types of S/MIME parts, which are handed out without their contents.
#ifndef NIMPORT_PLUGIN_CONTENTS_SMIME_TYPES_H_
#define NIMPORT_PLUGIN_CONTENTS_SMIME_TYPES_H_

#include <string_view>

namespace nimport::plugin {

// Whether a content type is that of an encrypted or signed container or a certificate request.
// Letter case counts.
[[nodiscard]] bool IsSmimeContainer(std::string_view contentType);

// Whether a content type is that of a signature or a certificate request.
[[nodiscard]] bool IsSmimeSignature(std::string_view contentType);

}  // namespace nimport::plugin

#endif  // NIMPORT_PLUGIN_CONTENTS_SMIME_TYPES_H_
