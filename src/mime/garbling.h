// Which texts of a mail today's programs would show garbled, though we can read them: programs that
// know the standards of mail and of charsets to the letter, and guess at nothing.
#ifndef NIMPORT_MIME_GARBLING_H_
#define NIMPORT_MIME_GARBLING_H_

#include <string>
#include <string_view>

#include "mime/part.h"

namespace nimport::mime {

// Whether nothing of `mail` can be garbled, as a look at its bytes tells: ASCII that stands for
// nothing else, in one text without a Content-Disposition.
[[nodiscard]] bool IsPlain(std::string_view mail);

// Whether a header field's value, as it stands in the mail, would be garbled: raw text that is not
// ASCII, encoded words that name no true charset, that have blanks in them, or that end within a
// character.
[[nodiscard]] bool IsGarbledValue(std::string_view rawValue);

// The same of Content-Type and Content-Disposition, whose parameters have a form of their own.
[[nodiscard]] bool IsGarbledParameters(std::string_view rawValue);

// The bytes of a text part of `mail` without their transfer encoding.
[[nodiscard]] std::string TextBytes(std::string_view mail, const Part& part);

// Whether a text part of `mail` would be garbled.
[[nodiscard]] bool IsGarbledText(std::string_view mail, const Part& part);

}  // namespace nimport::mime

#endif  // NIMPORT_MIME_GARBLING_H_
