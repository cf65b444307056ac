#include "host/result_text.h"

#include <cstring>

#include "text/code_page_932.h"
#include "text/utf16.h"

namespace nimport::host {

ResultText::~ResultText() {
  if (record_.release != nullptr) record_.release(record_.buffer);
}

std::string ResultText::ToUtf8() const {
  if (record_.encoding == ENCODING_CODE_PAGE_932) return text::Utf8FromCodePage932(ToBytes());
  if (record_.buffer == nullptr || record_.length <= 0) return {};
  std::u16string text(static_cast<std::size_t>(record_.length), u'\0');
  std::memcpy(text.data(), record_.buffer, text.size() * sizeof(char16_t));
  return text::Utf8FromUtf16(text, text::REPLACEMENT_CHARACTER);
}

std::string ResultText::ToBytes() const {
  if (record_.buffer == nullptr || record_.length <= 0) return {};
  return {static_cast<const char*>(record_.buffer), static_cast<std::size_t>(record_.length)};
}

}  // namespace nimport::host
