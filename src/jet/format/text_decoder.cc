#include "jet/format/text_decoder.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "jet/database_error.h"
#include "text/ascii.h"

namespace nimport::jet {
namespace {

// Every text column's value fits; only memos are longer.
constexpr std::size_t SHORT_UNITS = 512;

// Whether the unit is the first half of a pair.
bool IsHighSurrogate(std::span<const std::byte> stored, std::size_t unit) {
  constexpr std::byte MASK{0xFC};
  constexpr std::byte HIGH{0xD8};
  return (stored[2 * unit + 1] & MASK) == HIGH;
}

bool IsAscii(std::span<const std::byte> bytes) {
  return text::IsAscii({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

std::string ToString(std::span<const std::byte> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// The units of `stored`, which is little-endian, at `out`. Returns their number.
std::size_t CopyUnits(std::span<const std::byte> stored, char16_t* out) {
  const std::size_t count = stored.size() / 2;
  std::memcpy(out, stored.data(), 2 * count);
  if constexpr (std::endian::native == std::endian::big) {
    std::transform(out, out + count, out,
                   [](char16_t unit) { return static_cast<char16_t>(unit << 8 | unit >> 8); });
  }
  return count;
}

char16_t ToUnit(std::byte byte) {
  return static_cast<char16_t>(byte);
}

// Whether one of the eight bytes from `bytes` on is zero.
bool HoldsZero(const std::byte* bytes) {
  constexpr std::uint64_t EACH = 0x0101'0101'0101'0101;
  std::uint64_t word = 0;
  std::memcpy(&word, bytes, sizeof word);
  return ((word - EACH) & ~word & 0x80 * EACH) != 0;
}

// Writes the units of `stored`, a compressed text without its mark, to `out`, which has room for as
// many units as `stored` has bytes. Returns their number. A zero byte switches between one and two
// bytes a character.
std::size_t Expand(std::span<const std::byte> stored, char16_t* out) {
  constexpr std::ptrdiff_t PIECE = 8;
  const std::byte* in = stored.data();
  const std::byte* const end = in + stored.size();
  const char16_t* const begin = out;
  for (; in != end; ++in) {
    for (; end - in > PIECE && !HoldsZero(in); in += PIECE, out += PIECE)
      std::transform(in, in + PIECE, out, ToUnit);
    for (; in != end && *in != std::byte{0}; ++in)
      *out++ = ToUnit(*in);
    if (in == end || ++in == end) break;
    for (; end - in >= 2 && *in != std::byte{0}; in += 2)
      *out++ = static_cast<char16_t>(ToUnit(in[0]) | ToUnit(in[1]) << 8);
    if (in == end) break;
    if (*in != std::byte{0}) throw DatabaseError({}, "a text ends within a character");
  }
  return static_cast<std::size_t>(out - begin);
}

bool IsCompressed(std::span<const std::byte> stored) {
  return stored.size() >= COMPRESSION_MARK.size() && stored[0] == std::byte{COMPRESSION_MARK[0]} &&
         stored[1] == std::byte{COMPRESSION_MARK[1]};
}

}  // namespace

std::string TextDecoder::Decode(std::span<const std::byte> stored) const {
  if (form_ == TextForm::CodePage) return FromCodePage(stored);
  if (IsCompressed(stored)) return FromCompressed(stored.subspan(COMPRESSION_MARK.size()));
  return FromUtf16(stored);
}

std::string TextDecoder::DecodeName(std::span<const std::byte> stored) const {
  return form_ == TextForm::CodePage ? FromCodePage(stored) : FromUtf16(stored);
}

std::string TextDecoder::FromCodePage(std::span<const std::byte> stored) const {
  if (filePage_ == targetPage_ || IsAscii(stored)) return ToString(stored);
  return converter_->FromUtf16(converter_->ToUtf16(ToString(stored), filePage_), targetPage_);
}

std::string TextDecoder::FromUtf16(std::span<const std::byte> stored) const {
  if (stored.empty()) return {};
  if (stored.size() % 2 != 0) throw DatabaseError({}, "a text ends within a character");
  // A long text by pieces, so that it is in memory once only.
  std::string text;
  while (stored.size() > 2 * SHORT_UNITS) {
    const bool endsInPair = IsHighSurrogate(stored, SHORT_UNITS - 1);
    const auto piece = stored.first(2 * (endsInPair ? SHORT_UNITS - 1 : SHORT_UNITS));
    if (text.empty()) text.reserve(stored.size());
    text += Convert(SHORT_UNITS, [&](char16_t* out) { return CopyUnits(piece, out); });
    stored = stored.subspan(piece.size());
  }
  std::string rest =
      Convert(stored.size() / 2, [&](char16_t* out) { return CopyUnits(stored, out); });
  if (text.empty()) return rest;
  text += rest;
  return text;
}

std::string TextDecoder::FromCompressed(std::span<const std::byte> stored) const {
  const bool hasSwitch = !stored.empty() && std::memchr(stored.data(), 0, stored.size()) != nullptr;
  if (!hasSwitch && IsAscii(stored)) return ToString(stored);
  return Convert(stored.size(), [&](char16_t* out) { return Expand(stored, out); });
}

// `write` writes at most `maxUnits` units and returns their number.
template <typename Write>
std::string TextDecoder::Convert(std::size_t maxUnits, Write write) const {
  if (maxUnits <= SHORT_UNITS) {
    char16_t units[SHORT_UNITS];
    return converter_->FromUtf16({units, write(units)}, targetPage_);
  }
  std::u16string units(maxUnits, u'\0');
  units.resize(write(units.data()));
  return converter_->FromUtf16(units, targetPage_);
}

}  // namespace nimport::jet
