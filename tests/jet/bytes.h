#ifndef NIMPORT_TESTS_JET_BYTES_H_
#define NIMPORT_TESTS_JET_BYTES_H_

#include <cctype>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace nimport::jet {

inline std::span<const std::byte> AsBytes(std::string_view text) {
  return std::as_bytes(std::span(text));
}

inline std::string ToString(std::span<const std::byte> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// Hexadecimal digits with blanks anywhere.
inline std::string FromHexString(std::string_view hex) {
  std::string digits;
  for (const char c : hex) {
    if (std::isxdigit(static_cast<unsigned char>(c)) != 0) digits += c;
  }
  std::string bytes;
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
    bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
  }
  return bytes;
}

inline std::vector<std::byte> FromHex(std::string_view hex) {
  const std::string text = FromHexString(hex);
  const auto bytes = AsBytes(text);
  return {bytes.begin(), bytes.end()};
}

}  // namespace nimport::jet

#endif  // NIMPORT_TESTS_JET_BYTES_H_
