#include "command/visible.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>

#include <unistd.h>

namespace nimport::command {

namespace {

constexpr const char* REPLACEMENT = "\xEF\xBF\xBD";  // U+FFFD

// A character at the beginning of a text.
struct Character {
  char32_t code = 0;
  std::size_t size = 1;  // in bytes
  bool isSound = true;   // false: a byte that begins no character of UTF-8
};

bool IsContinuation(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

// `text` is not empty.
Character FirstOf(std::string_view text) {
  const auto lead = static_cast<unsigned char>(text.front());
  if (lead < 0x80) return {.code = lead};
  const std::size_t size = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  const Character unsound = {.isSound = false};
  if (lead < 0xC2 || lead > 0xF4 || text.size() < size) return unsound;
  char32_t code = lead & (0x7FU >> size);
  for (const char byte : text.substr(1, size - 1)) {
    if (!IsContinuation(byte)) return unsound;
    code = (code << 6) | (static_cast<unsigned char>(byte) & 0x3F);
  }
  // Forms that are longer than need be could hide a control character.
  constexpr char32_t SMALLEST[] = {0x80, 0x800, 0x10000};
  const bool isSurrogate = code >= 0xD800 && code < 0xE000;
  if (code < SMALLEST[size - 2] || isSurrogate || code > 0x10FFFF) return unsound;
  return {.code = code, .size = size};
}

bool IsHarmful(char32_t code) {
  return code < 0x20 || (code >= 0x7F && code < 0xA0) || (code >= 0x2028 && code <= 0x202E) ||
         (code >= 0x2066 && code <= 0x2069);
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

// Most texts need nothing.
bool IsPlain(std::string_view text) {
  return std::ranges::all_of(text, [](char c) { return c >= 0x20 && c < 0x7F; });
}

std::string ToVisible(std::string_view text, bool keepsLines) {
  if (IsPlain(text)) return std::string(text);
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    const Character character = FirstOf(text);
    const bool isLineEnd = text.front() == '\n' || text.starts_with("\r\n");
    if (!character.isSound) {
      out += REPLACEMENT;
    } else if (keepsLines && (isLineEnd || text.front() == '\t')) {
      if (text.front() != '\r') out += text.front();
    } else if (IsHarmful(character.code)) {
      out += PictureOf(character.code);
    } else {
      out += text.substr(0, character.size);
    }
    text.remove_prefix(character.size);
  }
  return out;
}

}  // namespace

std::string Visible(std::string_view text) {
  return ToVisible(text, false);
}

std::string VisibleLines(std::string_view text) {
  return ToVisible(text, true);
}

// Control characters below U+0020 stand in no string; between strings they are line ends.
std::string VisibleJson(std::string_view json) {
  std::string out;
  out.reserve(json.size());
  while (!json.empty()) {
    const Character character = FirstOf(json);
    const bool isEscaped = character.isSound && character.code >= 0x7F && IsHarmful(character.code);
    out += isEscaped ? Format("\\u%04x", character.code) : json.substr(0, character.size);
    json.remove_prefix(character.size);
  }
  return out;
}

std::string ForStandardOutput(std::string_view text) {
  static const bool isTerminal = isatty(STDOUT_FILENO) == 1;
  return isTerminal ? VisibleLines(text) : std::string(text);
}

}  // namespace nimport::command
