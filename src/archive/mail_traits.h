#ifndef NIMPORT_ARCHIVE_MAIL_TRAITS_H_
#define NIMPORT_ARCHIVE_MAIL_TRAITS_H_

#include <string>
#include <vector>

#include "archive/mail_index.h"

namespace nimport::archive {

// What a parse of a mail with a header of its own finds out.
struct MailTraits {
  std::vector<Attachment> attachments;  // the files that it has with it, as `show` lists them
  bool isGarbled = false;               // IsShownGarbled
};

// Costs next to nothing for plain ASCII. The mail's bytes are lent: they stand in `mail` again
// afterwards. Its lines do not end with CR alone.
[[nodiscard]] MailTraits FindTraits(std::string& mail);

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_MAIL_TRAITS_H_
