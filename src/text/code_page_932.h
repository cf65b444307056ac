// Code page 932 as Microsoft maps it: what texts in it are cut and scanned by, and what they are in
// Unicode.
#ifndef NIMPORT_TEXT_CODE_PAGE_932_H_
#define NIMPORT_TEXT_CODE_PAGE_932_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace nimport::text {

// Whether `byte` begins a double-byte character.
[[nodiscard]] constexpr bool IsLeadByte(unsigned char byte) {
  return (byte >= 0x81 && byte <= 0x9F) || (byte >= 0xE0 && byte <= 0xFC);
}

// The longest beginning of `text` that has at most `maxBytes` bytes and ends with a whole
// character.
[[nodiscard]] std::string_view CutAtWholeCharacter(std::string_view text, std::size_t maxBytes);

// `text` up to its first NUL byte.
[[nodiscard]] std::string_view UpToNul(std::string_view text);

// The position of the last `character` in `text` that is not the second byte of a double-byte
// character; npos when there is none.
[[nodiscard]] std::size_t FindLastCharacter(std::string_view text, char character);

// A character in code page 932: a single byte, or lead byte * 256 + trail byte; 0 stands for none.
using Code932 = std::uint16_t;

// The code of a character; 0 when the code page lacks it. What it holds twice has one preferred
// code: that of JIS X 0208, else that of NEC's row 13, else that among IBM's extensions. Characters
// that JIS tables and Microsoft's map differently (wave dash, minus sign, ...) have one code under
// either mapping. For mails: a no-break space is a blank, and the five single bytes that
// only Microsoft's table has are not written.
[[nodiscard]] Code932 Code932FromUnicode(char32_t character);

// The preferred code of the character at a double-byte code; 0 when none is assigned there.
[[nodiscard]] Code932 PreferredCode932(Code932 code);

// Appends the bytes of `code`, '?' for none.
void AppendCode932(Code932 code, std::string& out);

// By Code932FromUnicode. A character without a counterpart, and each run of damaged bytes, becomes
// '?'. A byte order mark at the start is left out, and a letter followed by a combining mark (as
// file names from some systems have it) becomes the one character that both show.
[[nodiscard]] std::string CodePage932FromUtf8(std::string_view text);

// A damaged sequence becomes U+FFFD.
[[nodiscard]] std::string Utf8FromCodePage932(std::string_view bytes);

}  // namespace nimport::text

#endif  // NIMPORT_TEXT_CODE_PAGE_932_H_
