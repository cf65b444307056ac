#ifndef NIMPORT_PLUGIN_MAILS_MAIL_TIME_H_
#define NIMPORT_PLUGIN_MAILS_MAIL_TIME_H_

#include <cstdint>

#include "plugin/mails/mail_store.h"

namespace nimport::plugin {

// A mail's date in seconds since 1970-01-01 00:00:00, written to `seconds`. The date of a mail kept
// in columns is remembered in the store's current mail.
//
// Throws Failure as FindMailRow does; -3 when there is no date or it cannot be read. `seconds`
// keeps its value then, with two exceptions: a date text that does not parse writes -1, and a
// missing current mail is noticed after the date was written.
void GetMailTime(MailStore& store, std::int32_t folderIndex, std::int32_t mailIndex,
                 std::int32_t& seconds);

}  // namespace nimport::plugin

#endif  // NIMPORT_PLUGIN_MAILS_MAIL_TIME_H_
