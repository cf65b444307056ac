// Texts as parts of mails.
#ifndef NIMPORT_MIME_TEXT_PART_H_
#define NIMPORT_MIME_TEXT_PART_H_

#include <string>
#include <string_view>

namespace nimport::mime {

// A text part's header lines and contents.
struct EncodedText {
  std::string contentType;       // value of Content-Type
  std::string transferEncoding;  // value of Content-Transfer-Encoding
  std::string contents;          // lines end with CR LF
};

// `text`, UTF-8, as text/plain; as it stands where it is ASCII in lines of lawful length. Decoding
// gives back the very same text, but for line ends, which become CR LF, and for one after the last
// line.
[[nodiscard]] EncodedText EncodeTextPart(std::string_view text);

}  // namespace nimport::mime

#endif  // NIMPORT_MIME_TEXT_PART_H_
