#ifndef NIMPORT_TEXT_ASCII_CASE_H_
#define NIMPORT_TEXT_ASCII_CASE_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

namespace nimport::jet {

// How names in a database compare: ASCII letters without regard to their case, every other byte as
// it is.

[[nodiscard]] constexpr char ToAsciiLower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

[[nodiscard]] inline std::string ToAsciiLower(std::string_view text) {
  std::string lower(text);
  for (char& c : lower)
    c = ToAsciiLower(c);
  return lower;
}

[[nodiscard]] inline bool EqualsIgnoringAsciiCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return ToAsciiLower(x) == ToAsciiLower(y); });
}

// For hashed containers of names, which may be searched by std::string_view.
struct AsciiCaseHash {
  using is_transparent = void;
  [[nodiscard]] std::size_t operator()(std::string_view name) const {
    std::uint64_t hash = 0xCBF29CE484222325;  // FNV-1a
    for (const char c : name)
      hash = (hash ^ static_cast<unsigned char>(ToAsciiLower(c))) * 0x100000001B3;
    return static_cast<std::size_t>(hash);
  }
};
struct AsciiCaseEqual {
  using is_transparent = void;
  [[nodiscard]] bool operator()(std::string_view a, std::string_view b) const {
    return EqualsIgnoringAsciiCase(a, b);
  }
};
using NameSet = std::unordered_set<std::string, AsciiCaseHash, AsciiCaseEqual>;
template <typename Mapped>
using NameMap = std::unordered_map<std::string, Mapped, AsciiCaseHash, AsciiCaseEqual>;

}  // namespace nimport::jet

#endif  // NIMPORT_TEXT_ASCII_CASE_H_
