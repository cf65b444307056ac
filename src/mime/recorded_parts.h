#ifndef NIMPORT_MIME_RECORDED_PARTS_H_
#define NIMPORT_MIME_RECORDED_PARTS_H_

#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

#include "mime/part.h"

namespace nimport::mime {

// A part that the plug-in's scan of the mail's text records as one of a multipart/related structure
// and thus hands out by itself.
struct RecordedPart {
  std::size_t partIndex;  // NO_PART when the scan has taken something else for a part
  TextRange contentType;  // as the scan reads it
};

// The recorded parts in the order of the mail; none when the structure is not sound, for then the
// plug-in refuses to count them. `parts` are those of `mail`.
[[nodiscard]] std::vector<RecordedPart> FindRecordedParts(std::string_view mail,
                                                          std::span<const Part> parts);

}  // namespace nimport::mime

#endif  // NIMPORT_MIME_RECORDED_PARTS_H_
