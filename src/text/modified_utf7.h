#ifndef NIMPORT_TEXT_MODIFIED_UTF7_H_
#define NIMPORT_TEXT_MODIFIED_UTF7_H_

#include <string>
#include <string_view>

namespace nimport::text {

// UTF-8 in the form that IMAP has for names of mailboxes (RFC 3501, section 5.1.3): '&' begins
// UTF-16 in a Base64 that has ',' in the place of '/'.
[[nodiscard]] std::string ModifiedUtf7FromUtf8(std::string_view utf8);

}  // namespace nimport::text

#endif  // NIMPORT_TEXT_MODIFIED_UTF7_H_
