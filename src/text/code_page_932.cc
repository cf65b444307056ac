#include "text/code_page_932.h"

#include "text/ascii.h"
#include "text/code_page_converter.h"
#include "text/code_page_table.h"
#include "text/composition.h"
#include "text/utf16.h"
#include "text/utf8.h"

namespace nimport::text {
namespace {

// Bytes of the character at `position`: 2 for a double-byte character that is whole, else 1.
std::size_t CharacterSize(std::string_view text, std::size_t position) {
  const bool isDouble = IsLeadByte(static_cast<unsigned char>(text[position]));
  return isDouble && position + 1 < text.size() ? 2 : 1;
}

constexpr char32_t NO_BREAK_SPACE = 0xA0;

// Single bytes that Microsoft's table maps to control and private characters, and no other.
constexpr bool IsOnlyMicrosofts(Code932 code) {
  return code == 0x80 || code == 0xA0 || (code >= 0xFD && code <= 0xFF);
}

const CodePageTable& Table() {
  return CodePageTable::Of(CODE_PAGE_JAPANESE);
}

// Joins a combining mark at the front of `rest` to `character`.
char32_t TakeCombiningMark(char32_t character, std::string_view& rest) {
  // The first bytes of all marks that join anything; most characters end here.
  const bool mayJoin = !rest.empty() && (rest[0] == '\xCC' || rest.starts_with("\xE3\x82"));
  if (!mayJoin) return character;
  std::string_view afterMark = rest;
  const char16_t composed = ComposeForCodePage932(character, TakeUtf8Character(afterMark));
  if (composed == 0) return character;
  rest = afterMark;
  return composed;
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

Code932 Code932FromUnicode(char32_t character) {
  if (character == NO_BREAK_SPACE) return ' ';
  if (character > 0xFFFF) return 0;
  const Code932 code = Table().CodeOf(static_cast<char16_t>(character));
  return IsOnlyMicrosofts(code) ? Code932{0} : code;
}

Code932 PreferredCode932(Code932 code) {
  return Table().PreferredCode(code);
}

void AppendCode932(Code932 code, std::string& out) {
  if (code == 0) code = '?';
  if (code > 0xFF) out += static_cast<char>(code >> 8);
  out += static_cast<char>(code & 0xFF);
}

std::string CodePage932FromUtf8(std::string_view text) {
  if (text.starts_with(UTF8_BYTE_ORDER_MARK)) text.remove_prefix(UTF8_BYTE_ORDER_MARK.size());
  std::string result;
  result.reserve(text.size());
  bool isInDamage = false;
  while (!text.empty()) {
    char32_t character = TakeUtf8Character(text);
    const bool isDamage = character == DAMAGED_UTF8;
    if (isDamage && isInDamage) continue;
    isInDamage = isDamage;
    character = TakeCombiningMark(character, text);
    if (character < 0x80) {
      result += static_cast<char>(character);
    } else {
      AppendCode932(Code932FromUnicode(character), result);
    }
  }
  return result;
}

std::string Utf8FromCodePage932(std::string_view bytes) {
  if (IsAscii(bytes)) return std::string(bytes);
  bool isDamaged = false;
  return Utf8FromUtf16(Table().ToUtf16(bytes, isDamaged, REPLACEMENT_CHARACTER));
}

}  // namespace nimport::text
