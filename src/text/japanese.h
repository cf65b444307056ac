// The two Japanese encodings that carry JIS rows and cells, converted to code page 932 by
// arithmetic. The system's converters know the standards' own rows only; mails hold what
// Microsoft's and NEC's programs wrote under the same names: row 13 (circled digits), NEC's and
// IBM's extension rows, user-defined rows, single-byte katakana.
#ifndef NIMPORT_TEXT_JAPANESE_H_
#define NIMPORT_TEXT_JAPANESE_H_

#include <string>
#include <string_view>

namespace nimport::text {

// ISO-2022-JP in all its forms: the designations of ASCII, JIS X 0201 Roman and katakana, JIS X
// 0208 of either year, JIS X 0212, and JIS X 0213 as far as it is JIS X 0208; SO and SI; 8-bit
// bytes as code page 932. A line end returns to ASCII. A character without a counterpart becomes
// '?'; an escape sequence of another kind stays as it is.
[[nodiscard]] std::string CodePage932FromIso2022Jp(std::string_view bytes);

// EUC-JP with single-byte katakana and JIS X 0212. A character without a counterpart, and a byte
// that begins none, becomes '?'.
[[nodiscard]] std::string CodePage932FromEucJp(std::string_view bytes);

// Whether `bytes` has an escape sequence that ISO-2022-JP text is recognised by.
[[nodiscard]] bool LooksLikeIso2022Jp(std::string_view bytes);

}  // namespace nimport::text

#endif  // NIMPORT_TEXT_JAPANESE_H_
