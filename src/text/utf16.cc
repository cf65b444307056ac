#include "text/utf16.h"

#include "text/utf8.h"

namespace nimport::text {

char32_t TakeUtf16Character(std::u16string_view& text) {
  const std::size_t units = UnitsOfCharacter(text, 0);
  char32_t character = text[0];
  if (units == 2) character = 0x10000 + ((character & 0x3FF) << 10) + (text[1] & 0x3FFu);
  text.remove_prefix(units);
  return character;
}

void AppendUtf16(char32_t character, std::u16string& out) {
  if (character < 0x10000) {
    out += static_cast<char16_t>(character);
  } else {
    out += static_cast<char16_t>(0xD800 + ((character - 0x10000) >> 10));
    out += static_cast<char16_t>(0xDC00 + (character & 0x3FF));
  }
}

std::string Utf8FromUtf16(std::u16string_view text, char32_t forLoneSurrogate) {
  std::string result;
  // Kana and kanji take three bytes each.
  result.reserve(3 * text.size());
  while (!text.empty()) {
    const char32_t character = TakeUtf16Character(text);
    const bool isLone = IsHighSurrogate(character) || IsLowSurrogate(character);
    AppendUtf8(isLone ? forLoneSurrogate : character, result);
  }
  return result;
}

std::u16string Utf16FromUtf8(std::string_view text, bool& isDamaged) {
  std::u16string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const char32_t character = TakeUtf8Character(text);
    if (character == DAMAGED_UTF8) isDamaged = true;
    AppendUtf16(character == DAMAGED_UTF8 ? REPLACEMENT_CHARACTER : character, result);
  }
  return result;
}

std::u16string Utf16FromUtf8(std::string_view text) {
  bool isDamaged = false;
  return Utf16FromUtf8(text, isDamaged);
}

std::u16string Utf16FromLittleEndian(std::string_view bytes) {
  std::u16string result;
  result.reserve(bytes.size() / 2);
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    result += static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) |
                                    static_cast<unsigned char>(bytes[i + 1]) << 8);
  }
  return result;
}

std::string LittleEndianFromUtf16(std::u16string_view text) {
  std::string bytes;
  bytes.reserve(2 * text.size());
  for (const char16_t unit : text) {
    bytes += static_cast<char>(unit & 0xFF);
    bytes += static_cast<char>(unit >> 8);
  }
  return bytes;
}

}  // namespace nimport::text
