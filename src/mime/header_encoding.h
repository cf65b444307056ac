// Text in the forms that mail allows. Input is UTF-8; lines end with CR LF.
#ifndef NIMPORT_MIME_HEADER_ENCODING_H_
#define NIMPORT_MIME_HEADER_ENCODING_H_

#include <cstddef>
#include <string>
#include <string_view>

namespace nimport::command {

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

// Lines of 76 characters.
[[nodiscard]] std::string EncodeBase64(std::string_view bytes);

// `text` with CR LF line ends.
[[nodiscard]] std::string EncodeQuotedPrintable(std::string_view text);

// A text part's header lines and contents.
struct EncodedText {
  std::string contentType;       // value of Content-Type
  std::string transferEncoding;  // value of Content-Transfer-Encoding
  std::string contents;
};

// `text` as text/plain, as it stands where it is ASCII in lines of lawful length. Decoding gives
// back the very same text, but for a line end after the last line.
[[nodiscard]] EncodedText EncodeTextPart(std::string_view text);

}  // namespace nimport::command

#endif  // NIMPORT_MIME_HEADER_ENCODING_H_
