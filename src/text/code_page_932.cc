#include "text/code_page_932.h"

namespace nimport {
namespace {

// Bytes of the character at `position`: 2 for a double-byte character that is whole, else 1.
std::size_t CharacterSize(std::string_view text, std::size_t position) {
  const bool isDouble = IsLeadByte(static_cast<unsigned char>(text[position]));
  return isDouble && position + 1 < text.size() ? 2 : 1;
}

}  // namespace

std::string_view CutAtWholeCharacter(std::string_view text, std::size_t maxBytes) {
  if (text.size() <= maxBytes) return text;
  std::size_t end = 0;
  while (end < maxBytes) {
    const std::size_t next = end + CharacterSize(text, end);
    if (next > maxBytes) break;
    end = next;
  }
  return text.substr(0, end);
}

std::string_view UpToNul(std::string_view text) {
  return text.substr(0, text.find('\0'));
}

std::size_t FindLastCharacter(std::string_view text, char character) {
  std::size_t found = std::string_view::npos;
  for (std::size_t i = 0; i < text.size(); i += CharacterSize(text, i)) {
    if (text[i] == character) found = i;
  }
  return found;
}

}  // namespace nimport
