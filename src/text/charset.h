// Text of any charset to code page 932 and to UTF-8.
#ifndef NIMPORT_TEXT_CHARSET_H_
#define NIMPORT_TEXT_CHARSET_H_

#include <string>
#include <string_view>

namespace nimport::text {

// `bytes` in code page 932. `charset` is what the mail says: Japanese names mean Microsoft's sets;
// ASCII, an empty or an unknown name leave eight-bit text and escape sequences to a guess, and a
// label that the bytes contradict loses (detector.h). A character without a counterpart, and
// damage, becomes '?'; text that is code page 932 already is handed through as it is.
[[nodiscard]] std::string ToCodePage932(std::string_view bytes, std::string_view charset);

// The same for text that nobody labelled.
[[nodiscard]] std::string GuessToCodePage932(std::string_view bytes);

// The same to UTF-8, which has every letter. Damage becomes U+FFFD.
[[nodiscard]] std::string ToUtf8(std::string_view bytes, std::string_view charset);
[[nodiscard]] std::string GuessToUtf8(std::string_view bytes);

// Whether these read `bytes` by the charset that `charset` names, and not by a guess.
[[nodiscard]] bool FollowsLabel(std::string_view bytes, std::string_view charset);

}  // namespace nimport::text

#endif  // NIMPORT_TEXT_CHARSET_H_
