// The multipart/related structure of a mail as a scan of its text finds it. The plug-in numbers the
// pictures of a mail's body by this scan, not by the mail's MIME structure; the MIME library
// follows the same scan, so that each part is handed out in one place and none is left out.
#ifndef NIMPORT_COMMON_RELATED_STRUCTURE_H_
#define NIMPORT_COMMON_RELATED_STRUCTURE_H_

#include <cstddef>
#include <string_view>
#include <vector>

namespace nimport {

// A part that the scan records.
struct RelatedEntry {
  std::size_t place;             // of the value of its Content-Type line, in bytes from the start
  std::string_view contentType;  // "image/gif": without leading blanks and parameters
};

// Fills `entries`, which view into `text`, with the parts of the first multipart/related structure
// in `text`, whose line ends are CR LF, in the order of the text and without those of type text or
// multipart. Letter case counts, and folded lines are not joined: what is written otherwise is not
// found. A text without such a structure has none. Takes time in proportion to the text, whatever
// it holds.
//
// Throws Failure (RESULT_INVALID) when the structure is not sound: its boundary is not in quotes,
// is too long or never closed, or a part has no header with a content type. The parts found up to
// there are in `entries`.
void ScanRelatedStructure(std::string_view text, std::vector<RelatedEntry>& entries);

// Whether a part whose header says so is an attachment although the scan records it. Letter case
// counts.
[[nodiscard]] bool IsRelatedPartToSave(std::string_view header);

}  // namespace nimport

#endif  // NIMPORT_COMMON_RELATED_STRUCTURE_H_
