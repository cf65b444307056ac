#ifndef NIMPORT_MIME_PART_H_
#define NIMPORT_MIME_PART_H_

#include <cstddef>
#include <string>
#include <string_view>

#include "mime/transfer_encoding.h"

namespace nimport::mime {

enum class PartKind {
  Leaf,       // has contents
  Multipart,  // has parts
  Message,    // has a whole mail as contents, whose parts follow
};

enum class Disposition { None, Inline, Attachment };

// A stretch of the mail's text, in bytes from its start.
struct TextRange {
  std::size_t begin = 0, end = 0;

  [[nodiscard]] std::string_view In(std::string_view text) const {
    return text.substr(begin, end - begin);
  }
};

inline constexpr std::size_t NO_PART = static_cast<std::size_t>(-1);

// One part of a mail, or the mail itself: where it lies and what its header says. Texts have the
// form that the mail was read in.
struct Part {
  PartKind kind = PartKind::Leaf;
  std::size_t parent = NO_PART;  // index of the part that this one lies in
  TextRange header;              // its fields, with their line ends
  TextRange contents;            // as they stand in the mail, still encoded
  std::string type;              // "type/subtype" in the mail's own letter case
  std::string charset;           // as the mail names it; may be empty
  std::string fileName;          // may be empty
  std::string contentId;         // without angle brackets; may be empty
  std::string start;             // multipart/related: the content ID of its root; may be empty
  Disposition disposition = Disposition::None;
  TransferEncoding encoding = TransferEncoding::Identity;
};

// Whether `part` has this "type/subtype", or one that begins so ("text/").
[[nodiscard]] bool HasType(const Part& part, std::string_view type);

}  // namespace nimport::mime

#endif  // NIMPORT_MIME_PART_H_
