// How the bytes of a mail stand in a file.
#ifndef NIMPORT_ARCHIVE_FORMATS_MAIL_FORM_H_
#define NIMPORT_ARCHIVE_FORMATS_MAIL_FORM_H_

#include <string>
#include <string_view>

namespace nimport::archive {

// Begins the line that an mbox has before every mail.
inline constexpr std::string_view SEPARATOR = "From ";

// The field that such a line becomes where it stands before a mail's header.
inline constexpr std::string_view SEPARATOR_FIELD = "X-Nimport-From-Line";

// Whether `text` begins with SEPARATOR, after any number of '>'.
[[nodiscard]] bool BeginsWithSeparator(std::string_view text);

// A mail that once stood in an mbox may still begin with its separator, which is no header line:
// readers would take all that follows for the text. It becomes the value of SEPARATOR_FIELD.
void MakeFieldOfSeparator(std::string& mail);

// Every CR LF becomes LF. A CR or LF that stands alone stays.
void ToLineFeeds(std::string& mail);

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_FORMATS_MAIL_FORM_H_
