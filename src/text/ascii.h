// Letters, digits and blanks as mail, databases and paths mean them: ASCII's, whatever the locale.
#ifndef NIMPORT_TEXT_ASCII_H_
#define NIMPORT_TEXT_ASCII_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace nimport::text {

[[nodiscard]] constexpr bool IsAscii(char character) {
  return static_cast<unsigned char>(character) < 0x80;
}

[[nodiscard]] inline bool IsAscii(std::string_view text) {
  // By words: most texts are ASCII throughout and are asked for it before any conversion.
  constexpr std::uint64_t HIGH_BITS = 0x8080'8080'8080'8080;
  for (; text.size() >= sizeof HIGH_BITS; text.remove_prefix(sizeof HIGH_BITS)) {
    std::uint64_t word = 0;
    std::memcpy(&word, text.data(), sizeof word);
    if ((word & HIGH_BITS) != 0) return false;
  }
  return std::ranges::all_of(text, [](char character) { return IsAscii(character); });
}

[[nodiscard]] inline bool IsAscii(std::u16string_view text) {
  return std::ranges::all_of(text, [](char16_t unit) { return unit < 0x80; });
}

// Controls of ASCII, DEL among them.
[[nodiscard]] constexpr bool IsAsciiControl(char character) {
  return static_cast<unsigned char>(character) < 0x20 || character == 0x7F;
}

[[nodiscard]] constexpr char AsciiLower(char character) {
  return character >= 'A' && character <= 'Z' ? static_cast<char>(character + 0x20) : character;
}

[[nodiscard]] constexpr char AsciiUpper(char character) {
  return character >= 'a' && character <= 'z' ? static_cast<char>(character - 0x20) : character;
}

[[nodiscard]] inline std::string AsciiLower(std::string_view text) {
  std::string lower(text);
  for (char& character : lower)
    character = AsciiLower(character);
  return lower;
}

[[nodiscard]] inline std::string AsciiUpper(std::string_view text) {
  std::string upper(text);
  for (char& character : upper)
    character = AsciiUpper(character);
  return upper;
}

[[nodiscard]] constexpr bool IsAsciiDigit(char character) {
  return character >= '0' && character <= '9';
}

[[nodiscard]] constexpr bool IsAsciiLetter(char character) {
  const char lower = AsciiLower(character);
  return lower >= 'a' && lower <= 'z';
}

[[nodiscard]] constexpr bool IsAsciiLetterOrDigit(char character) {
  return IsAsciiDigit(character) || IsAsciiLetter(character);
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
  return std::ranges::equal(left, right,
                            [](char a, char b) { return AsciiLower(a) == AsciiLower(b); });
}

[[nodiscard]] constexpr bool StartsWithIgnoringCase(std::string_view text, std::string_view start) {
  return EqualsIgnoringCase(text.substr(0, start.size()), start);
}

// `text` without the blanks and line ends around it.
template <typename Character>
[[nodiscard]] constexpr std::basic_string_view<Character> TrimBlanks(
    std::basic_string_view<Character> text) {
  const auto isBlank = [](Character c) { return c < 0x80 && IsBlank(static_cast<char>(c)); };
  while (!text.empty() && isBlank(text.front()))
    text.remove_prefix(1);
  while (!text.empty() && isBlank(text.back()))
    text.remove_suffix(1);
  return text;
}
[[nodiscard]] constexpr std::string_view Trim(std::string_view text) {
  return TrimBlanks(text);
}
[[nodiscard]] constexpr std::u16string_view Trim(std::u16string_view text) {
  return TrimBlanks(text);
}

}  // namespace nimport::text

#endif  // NIMPORT_TEXT_ASCII_H_
