#include "store/folder_name.h"

#include <cstddef>

#include "text/code_page_932.h"
#include "text/fixed_text.h"

namespace nimport::store {
namespace {

// What stands for a character of one byte; empty when it stands for itself.
constexpr std::string_view EscapeOf(char character) {
  switch (character) {
    case '\\':
      return "%5c";
    case '/':
      return "%2f";
    case '#':
      return "%23";
    default:
      return {};
  }
}

}  // namespace

std::string EscapeUtf8FolderName(std::string_view name) {
  std::string escaped;
  for (const char byte : name) {
    const std::string_view escape = EscapeOf(byte);
    escaped += escape.empty() ? std::string_view(&byte, 1) : escape;
  }
  return escaped;
}

std::string EscapeFolderName(std::string_view name) {
  std::string escaped;
  while (!name.empty()) {
    // The second byte of a double-byte character may have the value of '\' and is not looked at.
    const bool isDouble =
        text::IsLeadByte(static_cast<unsigned char>(name.front())) && name.size() > 1;
    const std::string_view character = name.substr(0, isDouble ? 2 : 1);
    const std::string_view escape = isDouble ? std::string_view() : EscapeOf(name.front());
    const std::string_view written = escape.empty() ? character : escape;
    if (escaped.size() + written.size() > text::PathText::MAX_BYTES) break;
    escaped += written;
    name.remove_prefix(character.size());
  }
  return escaped;
}

}  // namespace nimport::store
