#ifndef NIMPORT_TEXT_BYTE_SET_H_
#define NIMPORT_TEXT_BYTE_SET_H_

#include <array>
#include <cstddef>
#include <string_view>

namespace nimport::text {

// Some bytes to look for in texts. The standard library's find_first_of takes a call for each byte
// of the text, this a look into a table.
class ByteSet {
 public:
  constexpr explicit ByteSet(std::string_view bytes) {
    for (const char byte : bytes)
      has_[static_cast<unsigned char>(byte)] = true;
  }

  [[nodiscard]] constexpr bool Has(char byte) const {
    return has_[static_cast<unsigned char>(byte)];
  }

  // The place of the first of them at or after `begin`; npos when there is none.
  [[nodiscard]] constexpr std::size_t FindIn(std::string_view text, std::size_t begin = 0) const {
    for (std::size_t i = begin; i < text.size(); ++i)
      if (Has(text[i])) return i;
    return std::string_view::npos;
  }

  [[nodiscard]] constexpr bool IsAnyIn(std::string_view text) const {
    return FindIn(text) != std::string_view::npos;
  }

 private:
  std::array<bool, 256> has_{};
};

}  // namespace nimport::text

#endif  // NIMPORT_TEXT_BYTE_SET_H_
