#ifndef NIMPORT_JET_ASCII_CASE_H_
#define NIMPORT_JET_ASCII_CASE_H_

#include <algorithm>
#include <string>
#include <string_view>

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

}  // namespace nimport::jet

#endif  // NIMPORT_JET_ASCII_CASE_H_
