#include "archive/safe_name.h"

#include <algorithm>
#include <array>

#include "text/ascii.h"
#include "text/composition.h"
#include "text/letter_case.h"
#include "text/utf16.h"
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

std::string WithoutDamage(std::string_view text) {
  std::string valid;
  while (!text.empty()) {
    const char32_t character = text::TakeUtf8Character(text);
    text::AppendUtf8(character == text::DAMAGED_UTF8 ? U'_' : character, valid);
  }
  return valid;
}

// Whether Windows takes a file of this name for a device: what follows the first dot, and blanks
// before that, make no difference.
bool IsDeviceName(std::string_view name) {
  std::string base = text::AsciiUpper(name.substr(0, name.find('.')));
  base.erase(base.find_last_not_of(' ') + 1);
  constexpr std::array<std::string_view, 6> DEVICES = {"AUX",     "CON", "CONIN$",
                                                       "CONOUT$", "NUL", "PRN"};
  if (std::ranges::find(DEVICES, base) != DEVICES.end()) return true;
  constexpr std::array<std::string_view, 13> NUMBERS = {
      "0", "1", "2", "3", "4", "5", "6", "7", "8", "9", "\u00B9", "\u00B2", "\u00B3"};
  const bool hasNumber = base.starts_with("COM") || base.starts_with("LPT");
  return hasNumber && std::ranges::find(NUMBERS, base.substr(3)) != NUMBERS.end();
}

}  // namespace

std::string ToSafeName(std::string_view text, std::size_t maxBytes) {
  const std::string valid = text::IsUtf8(text) ? std::string(text) : WithoutDamage(text);
  std::string name(text::CutUtf8(valid, maxBytes));
  std::replace_if(name.begin(), name.end(), IsForbidden, '_');
  for (std::size_t i = 0; i < name.size(); ++i) {
    if (const std::size_t size = HiddenSize(std::string_view(name).substr(i))) {
      name.replace(i, size, "_");
    }
  }
  while (name.ends_with(' ') || name.ends_with('.'))
    name.pop_back();
  if (name.starts_with('.')) name.front() = '_';
  if (IsDeviceName(name)) name.insert(0, "_");
  return name.empty() ? "_" : name;
}

std::string UniqueNames::Take(const std::string& name) {
  std::string candidate = name;
  const auto [entry, isNew] = taken_.emplace(Fold(name), FIRST_NUMBER);
  // A name's numbers go on where they ended, since a store may have very many folders of one name.
  for (bool isFree = isNew; !isFree;) {
    candidate = name + " (" + std::to_string(entry->second++) + ')';
    isFree = taken_.emplace(Fold(candidate), FIRST_NUMBER).second;
  }
  return candidate;
}

std::u16string UniqueNames::Fold(const std::string& name) {
  return text::FoldCase(text::ComposeForCodePage932(text::Utf16FromUtf8(name)));
}

}  // namespace nimport::archive
