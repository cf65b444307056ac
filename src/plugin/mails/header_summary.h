#ifndef NIMPORT_PLUGIN_MAILS_HEADER_SUMMARY_H_
#define NIMPORT_PLUGIN_MAILS_HEADER_SUMMARY_H_

#include <cstdint>

#include "plugin/mails/mail_store.h"
#include "store/mails/mail_text.h"
#include "text/fixed_text.h"

namespace nimport::plugin {

// What an empty header field reads as.
inline constexpr char EMPTY_FIELD_TEXT[] = "DEFAULT";

// The subject, sender, recipient, message ID or content type of a mail, from wherever its kind
// keeps it; never empty. `bodyIndex` counts for the content type of MIME mails only. A value read
// from columns is remembered in the store's current mail.
//
// Throws Failure: as FindMailRow; -3 when the value is blank, cannot be found in the mail's text,
// or the MIME file is missing or cannot be parsed; -2 when a stored text is empty or a file cannot
// be read.
[[nodiscard]] text::ValueText GetMailField(MailStore& store, std::int32_t folderIndex,
                                           std::int32_t mailIndex, store::FieldSelector selector,
                                           std::int32_t bodyIndex);

}  // namespace nimport::plugin

#endif  // NIMPORT_PLUGIN_MAILS_HEADER_SUMMARY_H_
