#include "jetwriter/text_encoder.h"

#include <cstddef>
#include <utility>

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

constexpr std::string_view COMPRESSED_MARK = "\xFF\xFE";

bool IsNarrow(std::string_view utf16, std::size_t unit) {
  return utf16[2 * unit + 1] == 0;
}

// The number of one-byte characters that stand together from `unit` on.
std::size_t NarrowRun(std::string_view utf16, std::size_t unit) {
  std::size_t end = unit;
  while (2 * end < utf16.size() && IsNarrow(utf16, end))
    ++end;
  return end - unit;
}

}  // namespace

TextEncoder::TextEncoder(const std::string& charset) : charset_(charset) {
  if (charset == UTF8 || charset == UTF16) return;
  auto system = text::SystemCharset::Open(charset);
  if (!system) throw WriteError("there is no character set \"" + charset + "\"");
  system_ = std::make_unique<text::SystemCharset>(*std::move(system));
}

TextEncoder TextEncoder::ForCodePage(unsigned codePage) {
  return TextEncoder(codePage == text::CODE_PAGE_UTF8 ? std::string(UTF8)
                                                      : "CP" + std::to_string(codePage));
}

std::string TextEncoder::Encode(std::string_view utf8) const {
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

std::optional<std::string> TextEncoder::Compress(std::string_view encoded) const {
  if (charset_ != UTF16) return std::nullopt;
  std::string result(COMPRESSED_MARK);
  bool oneByteMode = true;
  for (std::size_t unit = 0; 2 * unit < encoded.size(); ++unit) {
    // A zero byte switches the mode, so no character may begin with one.
    if (encoded[2 * unit] == 0) return std::nullopt;
    const bool isNarrow = IsNarrow(encoded, unit);
    // Two switches cost as much as two wide characters save.
    const bool wantOneByte = oneByteMode ? isNarrow : NarrowRun(encoded, unit) > 2;
    if (wantOneByte != oneByteMode) result.push_back('\0');
    oneByteMode = wantOneByte;
    result.append(encoded.substr(2 * unit, oneByteMode ? 1 : 2));
  }
  if (result.size() >= encoded.size() && !LooksCompressed(encoded)) return std::nullopt;
  return result;
}

bool TextEncoder::LooksCompressed(std::string_view encoded) const {
  return charset_ == UTF16 && encoded.starts_with(COMPRESSED_MARK);
}

}  // namespace nimport::jetwriter
