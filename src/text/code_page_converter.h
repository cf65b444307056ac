#ifndef NIMPORT_TEXT_CODE_PAGE_CONVERTER_H_
#define NIMPORT_TEXT_CODE_PAGE_CONVERTER_H_

#include <optional>
#include <string>
#include <string_view>

namespace nimport::text {

// Windows code page numbers that the code names.
inline constexpr unsigned CODE_PAGE_JAPANESE = 932;
inline constexpr unsigned CODE_PAGE_WESTERN = 1252;
inline constexpr unsigned CODE_PAGE_UTF8 = 65001;

// Converts between code pages and UTF-16 (host byte order). Safe to use from several threads at
// once. Never fails on content: what cannot be converted is replaced. An unknown code page counts
// as CODE_PAGE_WESTERN; one that the system lacks has ASCII alone.
class CodePageConverter {
 public:
  // `text` in `codePage`. A character without a counterpart becomes '?'.
  [[nodiscard]] std::string FromUtf16(std::u16string_view text, unsigned codePage) const;

  // `bytes`, which are in `codePage`, as UTF-16. A damaged byte sequence becomes U+FFFD, or U+30FB
  // in code page 932; NUL bytes are kept.
  [[nodiscard]] std::u16string ToUtf16(std::string_view bytes, unsigned codePage) const;

  // As ToUtf16, but empty when `bytes` holds a damaged sequence.
  [[nodiscard]] std::optional<std::u16string> ToUtf16Strict(std::string_view bytes,
                                                            unsigned codePage) const;
};

}  // namespace nimport::text

#endif  // NIMPORT_TEXT_CODE_PAGE_CONVERTER_H_
