// The text of header fields, decoded to either form.
#ifndef NIMPORT_MIME_HEADER_TEXT_H_
#define NIMPORT_MIME_HEADER_TEXT_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "mime/header_block.h"
#include "mime/part.h"
#include "mime/text_form.h"

namespace nimport::mime {

// A field's value with its folds undone (each becomes one blank) and raw eight-bit or ISO-2022-JP
// text converted; encoded words stay as they are.
[[nodiscard]] std::string UnfoldHeaderValue(TextForm form, std::string_view rawValue);

// `text`, which has this form, with its encoded words decoded wherever they stand: within words,
// quotes and comments, too. Adjacent words of one charset are joined before they are converted, for
// many a program splits them within a character. What is no whole encoded word stays as it is.
[[nodiscard]] std::string DecodeEncodedWords(TextForm form, std::string_view text);

// A field's value as a reader sees it: unfolded, decoded, without line ends and surrounding blanks.
[[nodiscard]] std::string DecodeHeaderValue(TextForm form, std::string_view rawValue);

// The same for the field of this name in a header; of recipients (To, Cc, Bcc), who may have
// several fields, all of them with commas between. Empty when there is none.
[[nodiscard]] std::optional<std::string> DecodeField(TextForm form, const HeaderBlock& header,
                                                     std::string_view name);

// An encoded word, taken apart.
struct HeaderWord {
  TextRange place;           // in the text
  std::string_view charset;  // as the word names it; a view into the text
  std::string bytes;         // without their encoding
};

// The encoded words of `text`, wherever DecodeEncodedWords finds them.
[[nodiscard]] std::vector<HeaderWord> FindHeaderWords(std::string_view text);

}  // namespace nimport::mime

#endif  // NIMPORT_MIME_HEADER_TEXT_H_
