#include "text/code_page_converter.h"

#include "text/ascii.h"
#include "text/code_page_table.h"
#include "text/utf16.h"

namespace nimport::text {
namespace {

std::u16string Decode(std::string_view bytes, unsigned codePage, bool& isDamaged) {
  // Every code page here begins with ASCII.
  if (IsAscii(bytes)) return {bytes.begin(), bytes.end()};
  if (codePage == CODE_PAGE_UTF8) return Utf16FromUtf8(bytes, isDamaged);
  return CodePageTable::Of(codePage).ToUtf16(bytes, isDamaged);
}

}  // namespace

std::string CodePageConverter::FromUtf16(std::u16string_view text, unsigned codePage) const {
  if (IsAscii(text)) {
    std::string result(text.size(), '\0');
    for (std::size_t i = 0; i < text.size(); ++i)
      result[i] = static_cast<char>(text[i]);
    return result;
  }
  if (codePage == CODE_PAGE_UTF8) return Utf8FromUtf16(text);
  return CodePageTable::Of(codePage).FromUtf16(text);
}

std::u16string CodePageConverter::ToUtf16(std::string_view bytes, unsigned codePage) const {
  bool isDamaged = false;
  return Decode(bytes, codePage, isDamaged);
}

std::optional<std::u16string> CodePageConverter::ToUtf16Strict(std::string_view bytes,
                                                               unsigned codePage) const {
  bool isDamaged = false;
  std::u16string text = Decode(bytes, codePage, isDamaged);
  if (isDamaged) return std::nullopt;
  return text;
}

}  // namespace nimport::text
