// Letters and blanks as the mail standards mean them: ASCII's, whatever the locale.
#ifndef NIMPORT_TEXT_ASCII_H_
#define NIMPORT_TEXT_ASCII_H_

#include <algorithm>
#include <string_view>

namespace nimport::mime {

[[nodiscard]] constexpr char AsciiLower(char character) {
  return character >= 'A' && character <= 'Z' ? static_cast<char>(character + 0x20) : character;
}

[[nodiscard]] constexpr bool IsAsciiDigit(char character) {
  return character >= '0' && character <= '9';
}

[[nodiscard]] constexpr bool IsAsciiLetterOrDigit(char character) {
  const char lower = AsciiLower(character);
  return IsAsciiDigit(character) || (lower >= 'a' && lower <= 'z');
}

[[nodiscard]] constexpr bool IsBlank(char character) {
  return character == ' ' || character == '\t' || character == '\r' || character == '\n';
}

// The value of a hexadecimal digit; -1 for another character.
[[nodiscard]] constexpr int HexDigit(char character) {
  if (IsAsciiDigit(character)) return character - '0';
  const char lower = AsciiLower(character);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

[[nodiscard]] constexpr bool EqualsIgnoringCase(std::string_view left, std::string_view right) {
  return std::ranges::equal(left, right, {}, AsciiLower, AsciiLower);
}

[[nodiscard]] constexpr bool StartsWithIgnoringCase(std::string_view text, std::string_view start) {
  return EqualsIgnoringCase(text.substr(0, start.size()), start);
}

// `text` without the blanks and line ends around it.
[[nodiscard]] constexpr std::string_view Trim(std::string_view text) {
  while (!text.empty() && IsBlank(text.front()))
    text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back()))
    text.remove_suffix(1);
  return text;
}

}  // namespace nimport::mime

#endif  // NIMPORT_TEXT_ASCII_H_
