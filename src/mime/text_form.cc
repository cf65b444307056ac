#include "mime/text_form.h"

#include "text/charset.h"
#include "text/code_page_932.h"
#include "text/utf8.h"

namespace nimport::mime {

std::string ToForm(TextForm form, std::string_view bytes, std::string_view charset) {
  return form == TextForm::Utf8 ? text::ToUtf8(bytes, charset)
                                : text::ToCodePage932(bytes, charset);
}

std::string GuessToForm(TextForm form, std::string_view bytes) {
  return form == TextForm::Utf8 ? text::GuessToUtf8(bytes) : text::GuessToCodePage932(bytes);
}

std::string_view CutAtCharacter(TextForm form, std::string_view text, std::size_t maxBytes) {
  if (form == TextForm::CodePage932) return text::CutAtWholeCharacter(text, maxBytes);
  return text::CutUtf8(text, maxBytes);
}

bool BeginsWithPair(TextForm form, std::string_view text) {
  return form == TextForm::CodePage932 &&
         text::IsLeadByte(static_cast<unsigned char>(text.front())) && text.size() > 1;
}

}  // namespace nimport::mime
