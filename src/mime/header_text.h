// The text of header fields. All results are code page 932.
#ifndef NIMPORT_MIME_HEADER_TEXT_H_
#define NIMPORT_MIME_HEADER_TEXT_H_

#include <string>
#include <string_view>

namespace nimport::mime {

// A field's value with its folds undone (each becomes one blank) and raw eight-bit or ISO-2022-JP
// text converted; encoded words stay as they are.
[[nodiscard]] std::string UnfoldHeaderValue(std::string_view rawValue);

// `text`, which is code page 932, with its encoded words decoded wherever they stand: within words,
// quotes and comments, too. Adjacent words of one charset are joined before they are converted, for
// many a program splits them within a character. What is no whole encoded word stays as it is.
[[nodiscard]] std::string DecodeEncodedWords(std::string_view text);

// A field's value as a reader sees it: unfolded, decoded, without line ends and surrounding blanks.
[[nodiscard]] std::string DecodeHeaderValue(std::string_view rawValue);

}  // namespace nimport::mime

#endif  // NIMPORT_MIME_HEADER_TEXT_H_
