#include "archive/digest.h"

#include <algorithm>

#define XXH_INLINE_ALL
#include <xxhash.h>

namespace nimport::archive {

Digest DigestOf(std::initializer_list<std::string_view> texts) {
  XXH3_state_t state;
  XXH3_128bits_reset(&state);
  for (const std::string_view text : texts) {
    const std::string length = std::to_string(text.size()) + ':';
    XXH3_128bits_update(&state, length.data(), length.size());
    XXH3_128bits_update(&state, text.data(), text.size());
  }
  XXH128_canonical_t canonical;
  XXH128_canonicalFromHash(&canonical, XXH3_128bits_digest(&state));
  Digest digest;
  std::ranges::copy(canonical.digest, digest.begin());
  return digest;
}

std::string ToHex(const Digest& digest) {
  constexpr std::string_view DIGITS = "0123456789abcdef";
  std::string hex;
  for (const std::uint8_t byte : digest)
    hex.append({DIGITS[byte >> 4], DIGITS[byte & 0xF]});
  return hex;
}

std::uint64_t ShortDigestOf(std::string_view text) {
  return XXH3_64bits(text.data(), text.size());
}

}  // namespace nimport::archive
