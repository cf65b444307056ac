// The parts of a mail that its body refers to, such as the pictures of an HTML page. They are found
// by scanning the mail's text for the delimiters of a multipart/related structure.
#ifndef NIMPORT_PLUGIN_CONTENTS_RELATED_PARTS_H_
#define NIMPORT_PLUGIN_CONTENTS_RELATED_PARTS_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "plugin/mails/remembered_mail.h"

namespace nimport::plugin {

// Fills `parts` with the parts of the first multipart/related structure in `text`, whose line ends
// are CR LF, in the order of the text and without those of type text or multipart. A text without
// such a structure has none. Takes time in proportion to the text, whatever it holds.
//
// Throws Failure (RESULT_INVALID) when the structure is not sound: its boundary is not in quotes,
// is too long or never closed, or a part has no header with a content type. The parts found up to
// there are in `parts`.
void BuildRelatedParts(std::string_view text, std::vector<RelatedPart>& parts);

// The file extension for a content type, dot included: its subtype, or ".txt" for plain text. Empty
// for a text without '/'. Throws Failure (RESULT_INVALID) for an extension of more than 259 bytes.
[[nodiscard]] std::optional<std::string> ExtensionForContentType(std::string_view contentType);

}  // namespace nimport::plugin

#endif  // NIMPORT_PLUGIN_CONTENTS_RELATED_PARTS_H_
