#ifndef NIMPORT_WEXMAIL_PART_LISTS_H_
#define NIMPORT_WEXMAIL_PART_LISTS_H_

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "mime/part.h"

namespace nimport::mime {

// A part that the plug-in's scan of the mail's text records as one of a multipart/related structure
// and thus hands out by itself.
struct RecordedPart {
  std::size_t partIndex;         // NO_PART when the scan has taken something else for a part
  std::string_view contentType;  // as the scan reads it; a view into the mail
};

// The recorded parts in the order of the mail; none when the structure is not sound, for then the
// plug-in refuses to count them. `parts` are those of `mail`, which must outlive the result.
[[nodiscard]] std::vector<RecordedPart> FindRecordedParts(std::string_view mail,
                                                          std::span<const Part> parts);

// The parts of a mail by their content type.
class PartLists {
 public:
  // The views of `recorded` must stay valid as long as the object; `parts` need not.
  PartLists(std::span<const Part> parts, std::span<const RecordedPart> recorded);

  // The parts of a content type ("type/subtype"), in the order of the mail, those in enclosed
  // messages included; multiparts are none. Of a type that parts are recorded under just those, so
  // that the plug-in's number of a part is its place here; else those of exactly this type; else
  // those that differ in letter case, blanks and parameters only. Valid as long as the object.
  [[nodiscard]] const std::vector<std::size_t>& Find(std::string_view contentType) const;

 private:
  std::unordered_map<std::string_view, std::vector<std::size_t>> recorded_;
  std::unordered_map<std::string, std::vector<std::size_t>> exact_;
  std::unordered_map<std::string, std::vector<std::size_t>> loose_;  // by type in lower case
  std::vector<std::size_t> none_;  // what is answered for a type that no part has
};

}  // namespace nimport::mime

#endif  // NIMPORT_WEXMAIL_PART_LISTS_H_
