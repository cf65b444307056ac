// UTF-8 is the host's only form of text. What the plug-in answers is converted here.
#ifndef NIMPORT_HOST_TEXT_H_
#define NIMPORT_HOST_TEXT_H_

#include <string>
#include <string_view>

namespace nimport::host {

// A surrogate without its partner becomes U+FFFD.
[[nodiscard]] std::string Utf16ToUtf8(std::u16string_view text);

// Damaged UTF-8 becomes U+FFFD.
[[nodiscard]] std::u16string Utf8ToUtf16(std::string_view text);

// From code page 932 with Microsoft's mapping. A damaged sequence becomes U+FFFD.
[[nodiscard]] std::string CodePage932ToUtf8(std::string_view bytes);

[[nodiscard]] bool IsAscii(std::string_view text);

// The longest beginning of `text` that has at most `maxBytes` bytes and ends with a whole
// character. `text` is valid UTF-8.
[[nodiscard]] std::string_view CutUtf8(std::string_view text, std::size_t maxBytes);

}  // namespace nimport::host

#endif  // NIMPORT_HOST_TEXT_H_
