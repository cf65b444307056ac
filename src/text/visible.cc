#include "text/visible.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "text/utf8.h"

namespace nimport::text {

namespace {

constexpr const char* REPLACEMENT = "\xEF\xBF\xBD";  // U+FFFD

bool IsHarmful(char32_t code) {
  return code < 0x20 || (code >= 0x7F && code < 0xA0) || (code >= 0x2028 && code <= 0x202E) ||
         (code >= 0x2066 && code <= 0x2069);
}

// Whether the next eight bytes are visible ASCII, as most of most texts is.
bool BeginsWithPlainWord(std::string_view text) {
  constexpr std::uint64_t EACH = 0x0101'0101'0101'0101;
  constexpr std::uint64_t HIGH_BITS = 0x80 * EACH;
  std::uint64_t word = 0;
  if (text.size() < sizeof word) return false;
  std::memcpy(&word, text.data(), sizeof word);
  // A byte below a blank borrows from its high bit; 0x7F is the one that reaches it by 1.
  return ((word | (word - 0x20 * EACH) | (word + EACH)) & HIGH_BITS) == 0;
}

std::string Format(const char* format, char32_t code) {
  std::array<char, 16> text;
  std::snprintf(text.data(), text.size(), format, static_cast<std::uint32_t>(code));
  return text.data();
}

std::string PictureOf(char32_t code) {
  if (code > 0x7F) return Format("<U+%04X>", code);
  // U+2400 to U+241F, and U+2421 for the last one.
  const unsigned picture = code == 0x7F ? 0x21 : static_cast<unsigned>(code);
  return {'\xE2', '\x90', static_cast<char>(0x80 + picture)};
}

std::string ToVisible(std::string_view text, bool keepsLines) {
  if (IsVisible(text)) return std::string(text);
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    const bool isLineEnd = text.front() == '\n' || text.starts_with("\r\n");
    const std::string_view from = text;
    const char32_t character = TakeUtf8Character(text);
    if (character == DAMAGED_UTF8) {
      out += REPLACEMENT;
    } else if (keepsLines && (isLineEnd || character == '\t')) {
      if (character != '\r') out += from.front();
    } else if (IsHarmful(character)) {
      out += PictureOf(character);
    } else {
      out += from.substr(0, from.size() - text.size());
    }
  }
  return out;
}

}  // namespace

bool IsVisible(std::string_view text) {
  while (!text.empty()) {
    if (BeginsWithPlainWord(text)) {
      text.remove_prefix(sizeof(std::uint64_t));
      continue;
    }
    if (text.front() >= 0x20 && text.front() < 0x7F) {
      text.remove_prefix(1);
      continue;
    }
    const char32_t character = TakeUtf8Character(text);
    if (character == DAMAGED_UTF8 || IsHarmful(character)) return false;
  }
  return true;
}

std::string Visible(std::string_view text) {
  return ToVisible(text, false);
}

std::string VisibleLines(std::string_view text) {
  return ToVisible(text, true);
}

std::string CutToColumns(std::string_view text, std::size_t columns) {
  constexpr std::string_view MARK = "...";
  // The scripts that terminals show two columns wide, and the pictures of control characters, all
  // come after this one. Others among them are narrower than is counted here.
  constexpr char32_t FIRST_WIDE = 0x1100;
  std::size_t width = 0;
  std::size_t cutBytes = 0;  // what leaves room for the mark
  for (std::string_view rest = text; !rest.empty();) {
    width += TakeUtf8Character(rest) < FIRST_WIDE ? 1 : 2;
    if (width + MARK.size() <= columns) cutBytes = text.size() - rest.size();
  }
  if (width <= columns) return std::string(text);
  return std::string(text.substr(0, cutBytes)).append(MARK.substr(0, columns));
}

// Control characters below U+0020 stand in no string; between strings they are line ends.
std::string VisibleJson(std::string_view json) {
  std::string out;
  out.reserve(json.size());
  while (!json.empty()) {
    const std::string_view from = json;
    const char32_t character = TakeUtf8Character(json);
    const bool isEscaped = character >= 0x7F && IsHarmful(character);
    out += isEscaped ? Format("\\u%04x", character) : from.substr(0, from.size() - json.size());
  }
  return out;
}

}  // namespace nimport::text
