// Facts about code page 932 that texts are cut, scanned and escaped by.
#ifndef NIMPORT_TEXT_CODE_PAGE_932_H_
#define NIMPORT_TEXT_CODE_PAGE_932_H_

#include <cstddef>
#include <string_view>

namespace nimport {

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

}  // namespace nimport

#endif  // NIMPORT_TEXT_CODE_PAGE_932_H_
