// The readable form of mails that today's programs would show garbled: text in UTF-8 that is
// declared as such. What the mail was goes with it as an attachment, or is kept elsewhere.
#ifndef NIMPORT_ARCHIVE_READABLE_READABLE_MAIL_H_
#define NIMPORT_ARCHIVE_READABLE_READABLE_MAIL_H_

#include <string>
#include <string_view>

#include "mime/mail.h"

namespace nimport::archive {

// Whether today's programs would garble a text of the mail, in its header or among what they show,
// and the mail has a readable form. One that is signed or encrypted has none: it is to stay what
// was signed. `mail` is parsed in UTF-8.
[[nodiscard]] bool IsShownGarbled(const mime::Mail& mail);

// The readable form of a mail that is shown garbled. Only the texts and header fields that need it
// are made anew; dates, IDs, attachments and enclosed messages that are attached stay byte for
// byte.
[[nodiscard]] std::string MakeReadable(std::string_view mail);

// The same as the first of two parts; the second is the file "original.eml" with `mail` as it is.
// `key` consists of letters and digits and is the mail's own.
[[nodiscard]] std::string MakeReadableWithOriginal(std::string_view mail, std::string_view key);

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_READABLE_READABLE_MAIL_H_
