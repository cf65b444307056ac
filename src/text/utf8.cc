#include "text/utf8.h"

#include "text/code_page_932_table.h"
#include "text/composition.h"

namespace nimport::mime {
namespace {

constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";

struct SequenceForm {
  unsigned char mask, lead;
  char32_t smallest;  // below it the form is overlong
};
// By the number of continuation bytes, from 1.
constexpr SequenceForm FORMS[] = {{0xE0, 0xC0, 0x80}, {0xF0, 0xE0, 0x800}, {0xF8, 0xF0, 0x10000}};

// The number of continuation bytes that `lead` asks for; 0 when it begins no sequence.
std::size_t ContinuationCount(unsigned char lead) {
  for (std::size_t i = 0; i < 3; ++i) {
    if ((lead & FORMS[i].mask) == FORMS[i].lead) return i + 1;
  }
  return 0;
}

// The character of a sequence of count + 1 bytes, or DAMAGED_UTF8.
char32_t DecodeSequence(std::string_view text, std::size_t count) {
  const SequenceForm& form = FORMS[count - 1];
  char32_t character = static_cast<unsigned char>(text[0]) & static_cast<unsigned>(~form.mask);
  for (std::size_t i = 1; i <= count; ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if ((byte & 0xC0) != 0x80) return DAMAGED_UTF8;
    character = character << 6 | (byte & 0x3Fu);
  }
  const bool isSurrogate = character >= 0xD800 && character <= 0xDFFF;
  return character < form.smallest || isSurrogate || character > 0x10FFFF ? DAMAGED_UTF8
                                                                          : character;
}

// Joins a combining mark at the front of `rest` to `character`.
char32_t TakeCombiningMark(char32_t character, std::string_view& rest) {
  // The first bytes of all marks that join anything; most characters end here.
  const bool mayJoin = !rest.empty() && (rest[0] == '\xCC' || rest.starts_with("\xE3\x82"));
  if (!mayJoin) return character;
  std::string_view behind = rest;
  const char16_t composed = ComposeForCodePage932(character, TakeUtf8Character(behind));
  if (composed == 0) return character;
  rest = behind;
  return composed;
}

void AppendCode(Code932 code, std::string& result) {
  if (code > 0xFF) result += static_cast<char>(code >> 8);
  result += static_cast<char>(code & 0xFF);
}

}  // namespace

char32_t TakeUtf8Character(std::string_view& text) {
  const auto lead = static_cast<unsigned char>(text[0]);
  const std::size_t count = ContinuationCount(lead);
  const bool isWhole = count > 0 && text.size() > count;
  const char32_t character = lead < 0x80 ? lead
                             : isWhole   ? DecodeSequence(text, count)
                                         : DAMAGED_UTF8;
  text.remove_prefix(character == DAMAGED_UTF8 ? 1 : count + 1);
  return character;
}

bool IsUtf8(std::string_view text) {
  while (!text.empty()) {
    if (TakeUtf8Character(text) == DAMAGED_UTF8) return false;
  }
  return true;
}

std::string CodePage932FromUtf8(std::string_view text) {
  const CodePage932Table& table = CodePage932Table::Get();
  if (text.starts_with(BYTE_ORDER_MARK)) text.remove_prefix(BYTE_ORDER_MARK.size());
  std::string result;
  result.reserve(text.size());
  bool isInDamage = false;
  while (!text.empty()) {
    char32_t character = TakeUtf8Character(text);
    const bool isDamage = character == DAMAGED_UTF8;
    if (isDamage && isInDamage) continue;
    isInDamage = isDamage;
    character = TakeCombiningMark(character, text);
    const Code932 code =
        character <= 0xFFFF ? table.FromUnicode(static_cast<char16_t>(character)) : Code932{0};
    if (character == 0) {
      result += '\0';
    } else {
      AppendCode(code != 0 ? code : Code932{'?'}, result);
    }
  }
  return result;
}

}  // namespace nimport::mime
