// Texts whose size in bytes is limited where they are defined.
#ifndef NIMPORT_TEXT_FIXED_TEXT_H_
#define NIMPORT_TEXT_FIXED_TEXT_H_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "text/code_page_932.h"

namespace nimport::text {

// A text in code page 932 of at most CAPACITY - 1 bytes and without NUL: what a zero-terminated
// buffer of CAPACITY bytes can hold.
template <std::size_t CAPACITY>
class FixedText {
 public:
  static constexpr std::size_t MAX_BYTES = CAPACITY - 1;

  FixedText() = default;

  // The text up to its first NUL, cut at a whole character where it is too long.
  [[nodiscard]] static FixedText Cut(std::string_view text) {
    FixedText result;
    result.text_ = CutAtWholeCharacter(UpToNul(text), MAX_BYTES);
    return result;
  }

  // The same, without a copy of a text that fits. Of a longer one only what is kept takes memory.
  [[nodiscard]] static FixedText CutOwned(std::string text) {
    const std::string_view kept = CutAtWholeCharacter(UpToNul(text), MAX_BYTES);
    FixedText result;
    if (kept.size() == text.size()) {
      result.text_ = std::move(text);
    } else {
      result.text_ = kept;
    }
    return result;
  }

  // The text up to its first NUL, or empty where it is too long.
  [[nodiscard]] static std::optional<FixedText> Fit(std::string_view text) {
    const std::string_view whole = UpToNul(text);
    if (whole.size() > MAX_BYTES) return std::nullopt;
    FixedText result;
    result.text_ = whole;
    return result;
  }

  [[nodiscard]] const std::string& str() const { return text_; }
  [[nodiscard]] bool empty() const { return text_.empty(); }
  void clear() { text_.clear(); }

  friend bool operator==(const FixedText&, const FixedText&) = default;

 private:
  std::string text_;
};

using NameText = FixedText<260>;     // names of folders, groups, columns
using AccountText = FixedText<512>;  // the member ID
using PathText = FixedText<520>;     // paths
using ValueText = FixedText<4096>;   // header values and lines

}  // namespace nimport::text

#endif  // NIMPORT_TEXT_FIXED_TEXT_H_
