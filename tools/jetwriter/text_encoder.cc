#include "jetwriter/text_encoder.h"

#include <cstddef>

namespace nimport::jetwriter {
namespace {

constexpr std::string_view COMPRESSED_MARK = "\xFF\xFE";

bool IsNarrow(std::string_view utf16, std::size_t unit) {
  return utf16[2 * unit + 1] == 0;
}

// The number of one-byte characters that stand together from `unit` on.
std::size_t NarrowRun(std::string_view utf16, std::size_t unit) {
  std::size_t end = unit;
  while (2 * end < utf16.size() && IsNarrow(utf16, end))
    ++end;
  return end - unit;
}

}  // namespace

std::optional<std::string> TextEncoder::Compress(std::string_view encoded) const {
  if (!isUtf16_) return std::nullopt;
  std::string result(COMPRESSED_MARK);
  bool oneByteMode = true;
  for (std::size_t unit = 0; 2 * unit < encoded.size(); ++unit) {
    // A zero byte switches the mode, so no character may begin with one.
    if (encoded[2 * unit] == 0) return std::nullopt;
    const bool isNarrow = IsNarrow(encoded, unit);
    // Two switches cost as much as two wide characters save.
    const bool wantOneByte = oneByteMode ? isNarrow : NarrowRun(encoded, unit) > 2;
    if (wantOneByte != oneByteMode) result.push_back('\0');
    oneByteMode = wantOneByte;
    result.append(encoded.substr(2 * unit, oneByteMode ? 1 : 2));
  }
  if (result.size() >= encoded.size() && !LooksCompressed(encoded)) return std::nullopt;
  return result;
}

bool TextEncoder::LooksCompressed(std::string_view encoded) const {
  return isUtf16_ && encoded.starts_with(COMPRESSED_MARK);
}

}  // namespace nimport::jetwriter
