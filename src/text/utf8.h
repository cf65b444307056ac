#ifndef NIMPORT_TEXT_UTF8_H_
#define NIMPORT_TEXT_UTF8_H_

#include <cstddef>
#include <string>
#include <string_view>

namespace nimport::text {

inline constexpr std::string_view UTF8_BYTE_ORDER_MARK = "\xEF\xBB\xBF";

// What no character is.
inline constexpr char32_t DAMAGED_UTF8 = 0xFFFFFFFF;

// Takes one character off the front of `text`, which is not empty. Bytes that begin like a
// character but do not end like one are taken together, up to where they go wrong, as DAMAGED_UTF8;
// overlong forms, surrogates and numbers beyond Unicode are damage from their first byte on.
[[nodiscard]] char32_t TakeUtf8Character(std::string_view& text);

// Whether `text` is valid UTF-8 throughout.
[[nodiscard]] bool IsUtf8(std::string_view text);

void AppendUtf8(char32_t character, std::string& out);

// The longest beginning of `text` that has at most `maxBytes` bytes and ends with a whole
// character. `text` is valid UTF-8.
[[nodiscard]] std::string_view CutUtf8(std::string_view text, std::size_t maxBytes);

}  // namespace nimport::text

#endif  // NIMPORT_TEXT_UTF8_H_
