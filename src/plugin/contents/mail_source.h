// The whole text of one mail.
#ifndef NIMPORT_PLUGIN_CONTENTS_MAIL_SOURCE_H_
#define NIMPORT_PLUGIN_CONTENTS_MAIL_SOURCE_H_

#include <cstdint>
#include <string>

#include "plugin/mails/mail_store.h"

namespace nimport::plugin {

// The mail's MIME file or stored internet mail as it is, or a text composed of a header block and
// the stored text; line ends CR LF. The header block holds the values that the store's current mail
// remembers, whichever mail they are of.
//
// Throws Failure: as FindMailRow; -3 when a forwarded text or the MIME file is missing, or no
// folder's current mail exists; -2 when a file cannot be read.
[[nodiscard]] std::string ComposeMailSource(MailStore& store, std::int32_t folderIndex,
                                            std::int32_t mailIndex);

}  // namespace nimport::plugin

#endif  // NIMPORT_PLUGIN_CONTENTS_MAIL_SOURCE_H_
