#include "mime/text_part.h"

#include <algorithm>
#include <cstddef>

#include "mime/transfer_encoding.h"

namespace nimport::mime {
namespace {

// The limit of RFC 5322, in characters without the line end.
constexpr std::size_t MAX_LINE = 998;

bool IsAscii(char character) {
  return static_cast<unsigned char>(character) < 0x80;
}

// Whether `text` may travel as it is: ASCII in lines of lawful length, and no CR by itself.
bool IsLawful(std::string_view text) {
  std::size_t lineBegin = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isLineEnd = text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n';
    if (!IsAscii(text[i]) || text[i] == '\0' || (text[i] == '\r' && !isLineEnd)) return false;
    const bool isInLine = text[i] != '\r' && text[i] != '\n';
    if (isInLine && i - lineBegin >= MAX_LINE) return false;
    if (text[i] == '\n') lineBegin = i + 1;
  }
  return true;
}

bool IsMostlyAscii(std::string_view text) {
  const auto asciiCount = static_cast<std::size_t>(std::ranges::count_if(text, IsAscii));
  return asciiCount * 6 >= text.size() * 5;
}

}  // namespace

EncodedText EncodeTextPart(std::string_view text) {
  if (IsLawful(text)) return {"text/plain; charset=us-ascii", "7bit", std::string(text)};
  if (IsMostlyAscii(text)) {
    return {"text/plain; charset=utf-8", "quoted-printable", EncodeQuotedPrintable(text)};
  }
  return {"text/plain; charset=utf-8", "base64", EncodeBase64Lines(text)};
}

}  // namespace nimport::mime
