#include "mime/text_form.h"

#include "text/charset.h"
#include "text/code_page_932.h"

namespace nimport::mime {

std::string ToForm(TextForm form, std::string_view bytes, std::string_view charset) {
  return form == TextForm::Utf8 ? ToUtf8(bytes, charset) : ToCodePage932(bytes, charset);
}

std::string GuessToForm(TextForm form, std::string_view bytes) {
  return form == TextForm::Utf8 ? GuessToUtf8(bytes) : GuessToCodePage932(bytes);
}

std::string_view CutAtCharacter(TextForm form, std::string_view text, std::size_t maxBytes) {
  if (form == TextForm::CodePage932) return CutAtWholeCharacter(text, maxBytes);
  if (text.size() <= maxBytes) return text;
  const auto isWithinCharacter = [&](std::size_t place) { return (text[place] & 0xC0) == 0x80; };
  while (maxBytes > 0 && isWithinCharacter(maxBytes))
    --maxBytes;
  return text.substr(0, maxBytes);
}

bool BeginsWithPair(TextForm form, std::string_view text) {
  return form == TextForm::CodePage932 && IsLeadByte(static_cast<unsigned char>(text.front())) &&
         text.size() > 1;
}

}  // namespace nimport::mime
