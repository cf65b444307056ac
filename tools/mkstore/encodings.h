// Base64, hexadecimal and character sets, in the forms that mails and descriptions use.
#ifndef NIMPORT_TOOLS_MKSTORE_ENCODINGS_H_
#define NIMPORT_TOOLS_MKSTORE_ENCODINGS_H_

#include <optional>
#include <string>
#include <string_view>

namespace nimport::mkstore {

// White space is passed over; empty for anything else that is no base64.
[[nodiscard]] std::optional<std::string> DecodeBase64(std::string_view text);
[[nodiscard]] std::optional<std::string> DecodeHex(std::string_view digits);

// UTF-8 in the character set that mail software of the time means by a name: iso-2022-jp with
// NEC's and IBM's characters and single-byte katakana, shift_jis as code page 932, euc-jp as
// EUC-JP-MS; other names as text::SystemCharset has them. Throws jetwriter::WriteError.
[[nodiscard]] std::string ToCharset(std::string_view utf8, std::string_view charset);

// An encoded word or several, separated by line end and blank: "=?charset?B?...?=". `encoding` is
// 'B' or 'Q'. Throws jetwriter::WriteError.
[[nodiscard]] std::string ToEncodedWords(std::string_view utf8, std::string_view charset,
                                         char encoding);

}  // namespace nimport::mkstore

#endif  // NIMPORT_TOOLS_MKSTORE_ENCODINGS_H_
