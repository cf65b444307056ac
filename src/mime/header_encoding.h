// Text in the forms that header fields allow. Input is UTF-8; lines end with CR LF.
#ifndef NIMPORT_MIME_HEADER_ENCODING_H_
#define NIMPORT_MIME_HEADER_ENCODING_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "mime/parameterized_value.h"

namespace nimport::mime {

// `text` as the value of an unstructured header field, folded; encoded words where it is not plain
// ASCII. Control characters become blanks. `column` is where the value begins on its first line.
[[nodiscard]] std::string EncodeHeaderText(std::string_view text, std::size_t column);

// `text` as the display name before an address: atoms, a quoted string or encoded words.
[[nodiscard]] std::string EncodePhrase(std::string_view text, std::size_t column);

// `value` as a further parameter of a header field, on a line of its own: "; NAME=...". Beyond
// ASCII the first gives the form of RFC 2231; the second encoded words in quotes, which no standard
// allows and which older readers look for.
[[nodiscard]] std::string EncodeParameter(std::string_view name, std::string_view value);
[[nodiscard]] std::string EncodeWordParameter(std::string_view name, std::string_view value);

// A word with its parameters as the value of Content-Type or Content-Disposition. A parameter that
// is a token stands on the line of the word as long as there is room, as in
// "text/plain; charset=utf-8"; another one stands on its own line, in quotes while it is ASCII,
// else as EncodeParameter has it. `column` as above. What no name can have is left out of names.
[[nodiscard]] std::string EncodeParameters(std::string_view word,
                                           const std::vector<Parameter>& parameters,
                                           std::size_t column);

}  // namespace nimport::mime

#endif  // NIMPORT_MIME_HEADER_ENCODING_H_
