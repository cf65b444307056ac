// UTF-16 in the host's byte order, and what it is in UTF-8.
#ifndef NIMPORT_TEXT_UTF16_H_
#define NIMPORT_TEXT_UTF16_H_

#include <cstddef>
#include <string>
#include <string_view>

namespace nimport::text {

// Stands for what could not be read.
inline constexpr char16_t REPLACEMENT_CHARACTER = 0xFFFD;

[[nodiscard]] constexpr bool IsHighSurrogate(char32_t unit) {
  return unit >= 0xD800 && unit <= 0xDBFF;
}
[[nodiscard]] constexpr bool IsLowSurrogate(char32_t unit) {
  return unit >= 0xDC00 && unit <= 0xDFFF;
}

// Units from `position` on that form one character: 2 for a surrogate pair, else 1.
[[nodiscard]] constexpr std::size_t UnitsOfCharacter(std::u16string_view text,
                                                     std::size_t position) {
  const bool isPair = IsHighSurrogate(text[position]) && position + 1 < text.size() &&
                      IsLowSurrogate(text[position + 1]);
  return isPair ? 2 : 1;
}

// Takes one character off the front of `text`, which is not empty; a surrogate without its partner
// as it is.
[[nodiscard]] char32_t TakeUtf16Character(std::u16string_view& text);

void AppendUtf16(char32_t character, std::u16string& out);

// `forLoneSurrogate` stands for a surrogate without its partner.
[[nodiscard]] std::string Utf8FromUtf16(std::u16string_view text, char32_t forLoneSurrogate = U'?');

// Damage, as TakeUtf8Character finds it, becomes U+FFFD; `isDamaged` is set then.
[[nodiscard]] std::u16string Utf16FromUtf8(std::string_view text, bool& isDamaged);
[[nodiscard]] std::u16string Utf16FromUtf8(std::string_view text);

// UTF-16LE in bytes; an odd byte at the end is dropped.
[[nodiscard]] std::u16string Utf16FromLittleEndian(std::string_view bytes);
[[nodiscard]] std::string LittleEndianFromUtf16(std::u16string_view text);

}  // namespace nimport::text

#endif  // NIMPORT_TEXT_UTF16_H_
