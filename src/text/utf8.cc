#include "text/utf8.h"

namespace nimport::text {
namespace {

// How many bytes follow a lead byte (0: it begins nothing), and the range in which the first of
// them must lie for a sequence that is the shortest, no surrogate and within Unicode.
struct Sequence {
  std::size_t tails = 0;
  unsigned char secondMin = 0x80;
  unsigned char secondMax = 0xBF;
};

Sequence SequenceOf(unsigned char lead) {
  if (lead < 0xC2 || lead > 0xF4) return {};
  if (lead < 0xE0) return {.tails = 1};
  if (lead == 0xE0) return {.tails = 2, .secondMin = 0xA0};
  if (lead == 0xED) return {.tails = 2, .secondMax = 0x9F};
  if (lead < 0xF0) return {.tails = 2};
  if (lead == 0xF0) return {.tails = 3, .secondMin = 0x90};
  if (lead == 0xF4) return {.tails = 3, .secondMax = 0x8F};
  return {.tails = 3};
}

constexpr bool IsTail(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

}  // namespace

char32_t TakeUtf8Character(std::string_view& text) {
  const auto lead = static_cast<unsigned char>(text[0]);
  if (lead < 0x80) {
    text.remove_prefix(1);
    return lead;
  }
  const Sequence sequence = SequenceOf(lead);
  char32_t character = sequence.tails == 0 ? DAMAGED_UTF8 : lead & (0x3Fu >> sequence.tails);
  std::size_t size = 1;
  for (; size <= sequence.tails; ++size) {
    const unsigned char byte = size < text.size() ? static_cast<unsigned char>(text[size]) : 0;
    const unsigned char low = size == 1 ? sequence.secondMin : 0x80;
    const unsigned char high = size == 1 ? sequence.secondMax : 0xBF;
    if (byte < low || byte > high) {
      character = DAMAGED_UTF8;
      break;
    }
    character = character << 6 | (byte & 0x3Fu);
  }
  text.remove_prefix(size);
  return character;
}

bool IsUtf8(std::string_view text) {
  while (!text.empty()) {
    if (TakeUtf8Character(text) == DAMAGED_UTF8) return false;
  }
  return true;
}

void AppendUtf8(char32_t character, std::string& out) {
  const auto byte = [](char32_t bits) { return static_cast<char>(bits); };
  const auto tail = [&](unsigned shift) { return byte(0x80 | (character >> shift & 0x3F)); };
  if (character < 0x80) {
    out += byte(character);
  } else if (character < 0x800) {
    out.append({byte(0xC0 | character >> 6), tail(0)});
  } else if (character < 0x10000) {
    out.append({byte(0xE0 | character >> 12), tail(6), tail(0)});
  } else {
    out.append({byte(0xF0 | character >> 18), tail(12), tail(6), tail(0)});
  }
}

std::string_view CutUtf8(std::string_view text, std::size_t maxBytes) {
  if (text.size() <= maxBytes) return text;
  std::size_t end = maxBytes;
  while (end > 0 && IsTail(text[end]))
    --end;
  return text.substr(0, end);
}

}  // namespace nimport::text
