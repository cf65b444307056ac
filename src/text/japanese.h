// The two Japanese encodings that carry JIS rows and cells, converted by arithmetic. The system's
// converters know the standards' own rows only; mails hold what Microsoft's and NEC's programs
// wrote under the same names: row 13 (circled digits), NEC's and IBM's extension rows, user-defined
// rows, single-byte katakana.
#ifndef NIMPORT_TEXT_JAPANESE_H_
#define NIMPORT_TEXT_JAPANESE_H_

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace nimport::text {

// Which form decoded text gets.
enum class JapaneseForm {
  Utf8,         // every letter; damage and what nothing knows become U+FFFD
  CodePage932,  // letters that it lacks, and damage, become '?'
};

// ISO-2022-JP in all its forms: the designations of ASCII, JIS X 0201 Roman and katakana, JIS X
// 0208 of either year, JIS X 0212, and, as far as the system knows them, JIS X 0213, GB 2312, KS C
// 5601 and the upper halves of ISO 8859-1 and -7; SO and SI; 8-bit bytes as code page 932. A line
// end returns to ASCII. An escape sequence of another kind stays as it is.
[[nodiscard]] std::string DecodeIso2022Jp(std::string_view bytes, JapaneseForm form);

// EUC-JP with single-byte katakana and JIS X 0212. A byte that begins no character is damage.
[[nodiscard]] std::string DecodeEucJp(std::string_view bytes, JapaneseForm form);

// `bytes`, which were joined from pieces that begin at `starts`, with the return to ASCII put in
// where a piece lacks it at its end. A piece may also end within its Japanese text, which the next
// one goes on with; then the first escape sequence after that is the return.
[[nodiscard]] std::string JoinIso2022JpPieces(std::string_view bytes,
                                              std::span<const std::size_t> starts);

// Whether `bytes` has an escape sequence that ISO-2022-JP text is recognised by.
[[nodiscard]] bool LooksLikeIso2022Jp(std::string_view bytes);

}  // namespace nimport::text

#endif  // NIMPORT_TEXT_JAPANESE_H_
