#ifndef NIMPORT_ARCHIVE_ATTACHMENTS_H_
#define NIMPORT_ARCHIVE_ATTACHMENTS_H_

#include <string>
#include <vector>

#include "archive/mail_index.h"

namespace nimport::archive {

// The files that a mail of its own header has with it, as `show` lists them. The mail's bytes are
// lent: they stand in `mail` again afterwards.
[[nodiscard]] std::vector<Attachment> ListAttachments(std::string& mail);

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_ATTACHMENTS_H_
