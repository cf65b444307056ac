#include "archive/safe_name.h"

#include <algorithm>

#include "text/ascii.h"
#include "text/utf8.h"

namespace nimport::archive {

namespace {

bool IsForbidden(char character) {
  const auto byte = static_cast<unsigned char>(character);
  return byte < 0x20 || byte == 0x7F ||
         std::string_view("/\\:*?\"<>|").find(character) != std::string_view::npos;
}

// The size of a control character beyond ASCII (U+0080 to U+009F), a line separator or a character
// that turns the direction of writing (U+2028 to U+202E, U+2066 to U+2069) at the beginning of
// `text`; 0 where there is none.
std::size_t HiddenSize(std::string_view text) {
  const auto isBetween = [&](std::string_view first, std::string_view last) {
    const std::string_view character = text.substr(0, first.size());
    return first <= character && character <= last;
  };
  if (isBetween("\xC2\x80", "\xC2\x9F")) return 2;
  const bool isHidden = isBetween("\u2028", "\u202E") || isBetween("\u2066", "\u2069");
  return isHidden ? 3 : 0;
}

}  // namespace

std::string ToSafeName(std::string_view text, std::size_t maxBytes) {
  std::string name(text::CutUtf8(text, maxBytes));
  std::replace_if(name.begin(), name.end(), IsForbidden, '_');
  for (std::size_t i = 0; i < name.size(); ++i) {
    if (const std::size_t size = HiddenSize(std::string_view(name).substr(i))) {
      name.replace(i, size, "_");
    }
  }
  while (name.ends_with(' ') || name.ends_with('.'))
    name.pop_back();
  if (name.starts_with('.')) name.front() = '_';
  return name.empty() ? "_" : name;
}

std::string UniqueNames::Take(const std::string& name) {
  std::string candidate = name;
  const auto [entry, isNew] = taken_.emplace(text::AsciiLower(name), FIRST_NUMBER);
  // A name's numbers go on where they ended, since a store may have very many folders of one name.
  for (bool isFree = isNew; !isFree;) {
    candidate = name + " (" + std::to_string(entry->second++) + ')';
    isFree = taken_.emplace(text::AsciiLower(candidate), FIRST_NUMBER).second;
  }
  return candidate;
}

}  // namespace nimport::archive
