#include "jetwriter/charset_encoder.h"

#include "jetwriter/write_error.h"
#include "text/code_page_converter.h"
#include "text/utf16.h"
#include "text/utf8.h"

namespace nimport::jetwriter {
namespace {

constexpr std::string_view UTF8 = "UTF-8";
constexpr std::string_view UTF16 = "UTF-16LE";

std::u16string Decode(std::string_view utf8) {
  std::u16string text;
  for (std::string_view rest = utf8; !rest.empty();) {
    const std::size_t place = utf8.size() - rest.size();
    const char32_t character = text::TakeUtf8Character(rest);
    if (character == text::DAMAGED_UTF8) {
      throw WriteError("the text is no UTF-8 at its byte " + std::to_string(place));
    }
    text::AppendUtf16(character, text);
  }
  return text;
}

}  // namespace

CharsetEncoder::CharsetEncoder(const std::string& charset) : charset_(charset) {
  if (charset == UTF8 || charset == UTF16) return;
  system_ = text::SystemCharset::Open(charset);
  if (!system_) throw WriteError("there is no character set \"" + charset + "\"");
}

CharsetEncoder::CharsetEncoder(unsigned codePage)
    : CharsetEncoder(codePage == text::CODE_PAGE_UTF8 ? std::string(UTF8)
                                                      : "CP" + std::to_string(codePage)) {}

std::string CharsetEncoder::Encode(std::string_view utf8) {
  const std::u16string text = Decode(utf8);
  if (charset_ == UTF8) return std::string(utf8);
  if (!system_) return text::LittleEndianFromUtf16(text);
  std::size_t missing = 0;
  if (auto bytes = system_->Encode(text, missing)) return *std::move(bytes);
  const std::u16string_view character =
      std::u16string_view(text).substr(missing, text::UnitsOfCharacter(text, missing));
  throw WriteError("\"" + text::Utf8FromUtf16(character) + "\" has no place in the character set " +
                   charset_);
}

std::string EncodeUtf16(std::string_view utf8) {
  return text::LittleEndianFromUtf16(Decode(utf8));
}

}  // namespace nimport::jetwriter
