#ifndef NIMPORT_TEXT_TEXT_CONVERTER_H_
#define NIMPORT_TEXT_TEXT_CONVERTER_H_

#include <optional>
#include <string>
#include <string_view>

namespace nimport {

// Windows code page numbers that the code names.
inline constexpr unsigned CODE_PAGE_JAPANESE = 932;
inline constexpr unsigned CODE_PAGE_WESTERN = 1252;
inline constexpr unsigned CODE_PAGE_UTF8 = 65001;

// Converts between code pages and UTF-16 (host byte order). Implemented by the platform; safe to
// use from several threads at once. Never fails on content: what cannot be converted is replaced.
class TextConverter {
 public:
  virtual ~TextConverter() = default;

  // `text` in `codePage`. A character without a counterpart becomes '?'. An unknown code page
  // counts as CODE_PAGE_WESTERN.
  [[nodiscard]] virtual std::string FromUtf16(std::u16string_view text,
                                              unsigned codePage) const = 0;

  // `bytes`, which are in `codePage`, as UTF-16. A damaged byte sequence becomes U+FFFD, or U+30FB
  // in code page 932; NUL bytes are kept.
  [[nodiscard]] virtual std::u16string ToUtf16(std::string_view bytes, unsigned codePage) const = 0;

  // As ToUtf16, but empty when `bytes` holds a damaged sequence.
  [[nodiscard]] virtual std::optional<std::u16string> ToUtf16Strict(std::string_view bytes,
                                                                    unsigned codePage) const = 0;
};

}  // namespace nimport

#endif  // NIMPORT_TEXT_TEXT_CONVERTER_H_
