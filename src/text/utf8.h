#ifndef NIMPORT_TEXT_UTF8_H_
#define NIMPORT_TEXT_UTF8_H_

#include <cstddef>
#include <string>
#include <string_view>

namespace nimport::mime {

// What no character is.
inline constexpr char32_t DAMAGED_UTF8 = 0xFFFFFFFF;

// Takes one character off the front of `text`, which is not empty. A byte that begins no valid
// sequence (overlong and surrogate forms included) is taken alone, as DAMAGED_UTF8.
[[nodiscard]] char32_t TakeUtf8Character(std::string_view& text);

// Whether `text` is valid UTF-8 throughout.
[[nodiscard]] bool IsUtf8(std::string_view text);

// UTF-8 in code page 932; a character without a counterpart, and each run of damaged bytes, becomes
// '?'. A byte order mark at the start is left out, and a letter followed by a combining mark (as
// file names from some systems have it) becomes the one character that both show.
[[nodiscard]] std::string CodePage932FromUtf8(std::string_view text);

}  // namespace nimport::mime

#endif  // NIMPORT_TEXT_UTF8_H_
