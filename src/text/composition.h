#ifndef NIMPORT_TEXT_COMPOSITION_H_
#define NIMPORT_TEXT_COMPOSITION_H_

#include <string>
#include <string_view>

namespace nimport::text {

// The one character of code page 932 that `base` and the combining mark `mark` after it show
// together, such as GA for KA and U+3099; 0 when the code page has none. File systems and programs
// that decompose names write such pairs.
[[nodiscard]] char16_t ComposeForCodePage932(char32_t base, char32_t mark);

// `text` with every such pair as its one character. Nothing else changes.
[[nodiscard]] std::u16string ComposeForCodePage932(std::u16string_view text);

}  // namespace nimport::text

#endif  // NIMPORT_TEXT_COMPOSITION_H_
