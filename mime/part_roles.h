#ifndef NIMPORT_MIME_PART_ROLES_H_
#define NIMPORT_MIME_PART_ROLES_H_

#include <cstddef>
#include <span>
#include <vector>

#include "mime/part.h"

namespace nimport::mime {

// What the parts of a mail are to its reader, as indexes in the order of the mail. Parts inside an
// enclosed message have no role of their own.
struct PartRoles {
  // The texts that a reader would show: text without Content-Disposition "attachment" that is
  // the mail's first part, has no file name, or is an alternative or the root of a
  // multipart/related; and the part of another type that is the mail's only one.
  std::vector<std::size_t> mains;
  // What is meant to be saved: everything else, but for parts that a multipart/related's root
  // refers to (unless their disposition is "attachment"); and the only part of a mail that is no
  // text, when it has a file name and is no S/MIME container.
  std::vector<std::size_t> attachments;
};

[[nodiscard]] PartRoles FindRoles(std::span<const Part> parts);

}  // namespace nimport::mime

#endif  // NIMPORT_MIME_PART_ROLES_H_
