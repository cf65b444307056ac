// The parts of a mail.
//
// Memory is bounded whatever a mail holds, and nothing gets lost: what cannot be understood, such
// as a text without header or a boundary that never comes, stays plain contents.
#ifndef NIMPORT_MIME_STRUCTURE_H_
#define NIMPORT_MIME_STRUCTURE_H_

#include <string_view>
#include <vector>

#include "mime/part.h"
#include "mime/text_form.h"

namespace nimport::mime {

// Parts within parts beyond this depth stay plain contents. Real mails stay below ten; a mail
// forwarded as an enclosure adds two each time. The time to read a mail may grow by this factor.
inline constexpr int MAX_DEPTH = 64;

// A mail has at most this many parts; what follows the last one belongs to its contents. Bounds
// the memory for parts to some 30 MB.
inline constexpr std::size_t MAX_PARTS = 100000;

// The parts of `mail` in the order in which they begin: the mail itself first, each multipart or
// enclosed message before what lies in it. Never empty. `form` is that of their texts.
[[nodiscard]] std::vector<Part> ReadStructure(TextForm form, std::string_view mail);

}  // namespace nimport::mime

#endif  // NIMPORT_MIME_STRUCTURE_H_
