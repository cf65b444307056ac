#include "host/command/safe_name.h"

#include <algorithm>
#include <cctype>

#include "host/text.h"

namespace nimport::command {

namespace {

bool IsForbidden(char character) {
  const auto byte = static_cast<unsigned char>(character);
  return byte < 0x20 || byte == 0x7F ||
         std::string_view("/\\:*?\"<>|").find(character) != std::string_view::npos;
}

std::string Folded(std::string name) {
  std::transform(name.begin(), name.end(), name.begin(), [](char character) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
  });
  return name;
}

}  // namespace

std::string ToSafeName(std::string_view text, std::size_t maxBytes) {
  std::string name(host::CutUtf8(text, maxBytes));
  std::replace_if(name.begin(), name.end(), IsForbidden, '_');
  // U+0080 to U+009F are control characters too.
  for (std::size_t i = 0; i + 1 < name.size(); ++i) {
    const bool isControl = name[i] == '\xC2' && static_cast<unsigned char>(name[i + 1]) < 0xA0;
    if (isControl) name.replace(i, 2, "_");
  }
  while (name.ends_with(' ') || name.ends_with('.'))
    name.pop_back();
  if (name.starts_with('.')) name.front() = '_';
  return name.empty() ? "_" : name;
}

std::string UniqueNames::Take(const std::string& name) {
  std::string candidate = name;
  for (int number = 2; !taken_.insert(Folded(candidate)).second; ++number) {
    candidate = name + " (" + std::to_string(number) + ')';
  }
  return candidate;
}

}  // namespace nimport::command
