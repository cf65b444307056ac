#ifndef NIMPORT_PLUGIN_MAILS_CURRENT_MAIL_H_
#define NIMPORT_PLUGIN_MAILS_CURRENT_MAIL_H_

#include <cstdint>
#include <string>

#include "text/fixed_text.h"

namespace nimport::plugin {

// The header values last read from columns in the open folder, each perhaps of another mail: a
// mail's source is composed from them.
struct CurrentMail {
  text::ValueText subject;
  text::ValueText from;
  text::ValueText to;
  text::ValueText messageId;
  std::int32_t date = 0;  // seconds since 1970-01-01 00:00:00; 0 is none
  text::ValueText contentType;
  std::string composedHeader;  // the header block that was composed last
};

}  // namespace nimport::plugin

#endif  // NIMPORT_PLUGIN_MAILS_CURRENT_MAIL_H_
