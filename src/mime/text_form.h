// The form that the texts of a mail get when they are decoded.
#ifndef NIMPORT_MIME_TEXT_FORM_H_
#define NIMPORT_MIME_TEXT_FORM_H_

#include <string>
#include <string_view>

namespace nimport::mime {

enum class TextForm {
  Utf8,         // Unicode: every letter that a mail may have
  CodePage932,  // what the old mail client can show; other letters become '?'
};

// `bytes` in this form, where `charset` is what the mail says of them; see charset.h.
[[nodiscard]] std::string ToForm(TextForm form, std::string_view bytes, std::string_view charset);

// The same for text that nobody labelled.
[[nodiscard]] std::string GuessToForm(TextForm form, std::string_view bytes);

// The longest beginning of `text`, which has this form, that has at most `maxBytes` bytes and ends
// with a whole character.
[[nodiscard]] std::string_view CutAtCharacter(TextForm form, std::string_view text,
                                              std::size_t maxBytes);

// Whether the bytes at the start of `text`, which is not empty and has this form, are a character
// of two bytes whose second one may look like ASCII.
[[nodiscard]] bool BeginsWithPair(TextForm form, std::string_view text);

}  // namespace nimport::mime

#endif  // NIMPORT_MIME_TEXT_FORM_H_
