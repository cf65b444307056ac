#ifndef NIMPORT_MIME_PART_ROLES_H_
#define NIMPORT_MIME_PART_ROLES_H_

#include <cstddef>
#include <span>
#include <vector>

#include "mime/part.h"

namespace nimport::mime {

// What the parts of a mail are to its reader, as indexes in the order of the mail. Parts inside an
// enclosed message have no role of their own, nor have those that the plug-in hands out as related
// parts; every other part with contents has at least one.
struct PartRoles {
  // The texts that a reader would show: text without Content-Disposition "attachment" that does not
  // stand beside the root of a multipart/related and is the mail's first part, has no file name, or
  // is an alternative or such a root; and the part of another type that is the mail's only one.
  std::vector<std::size_t> mains;
  // Everything else; and the only part of a mail that is no text, when it is a file and no S/MIME
  // container: its body alone would not tell its file name.
  std::vector<std::size_t> attachments;
};

// `isHandedOut` tells by part whether it is handed out as a related part.
[[nodiscard]] PartRoles FindRoles(std::span<const Part> parts,
                                  const std::vector<bool>& isHandedOut);

}  // namespace nimport::mime

#endif  // NIMPORT_MIME_PART_ROLES_H_
