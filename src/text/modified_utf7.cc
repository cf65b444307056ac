#include "text/modified_utf7.h"

#include <cstddef>
#include <cstdint>

#include "text/utf16.h"

namespace nimport::text {

namespace {

bool StandsForItself(char16_t unit) {
  return unit >= 0x20 && unit <= 0x7E;
}

// The units, bit by bit, without padding.
void AppendBase64(std::u16string_view units, std::string& out) {
  constexpr std::string_view DIGITS =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+,";
  std::uint32_t bits = 0;
  int count = 0;
  for (const char16_t unit : units) {
    bits = bits << 16 | unit;
    for (count += 16; count >= 6; count -= 6)
      out += DIGITS[bits >> (count - 6) & 0x3F];
  }
  if (count > 0) out += DIGITS[bits << (6 - count) & 0x3F];
}

}  // namespace

std::string ModifiedUtf7FromUtf8(std::string_view utf8) {
  const std::u16string units = Utf16FromUtf8(utf8);
  std::string out;
  for (std::size_t begin = 0; begin < units.size();) {
    if (StandsForItself(units[begin])) {
      out += static_cast<char>(units[begin]);
      if (units[begin++] == u'&') out += '-';
      continue;
    }
    std::size_t end = begin;
    while (end < units.size() && !StandsForItself(units[end]))
      ++end;
    out += '&';
    AppendBase64(std::u16string_view(units).substr(begin, end - begin), out);
    out += '-';
    begin = end;
  }
  return out;
}

}  // namespace nimport::text
