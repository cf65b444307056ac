#include "jet/text_decoder.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "jet/byte_reader.h"
#include "jet/database_error.h"

namespace nimport::jet {
namespace {

// All bytes of `bytes`, combined by or in groups of eight.
std::uint64_t CombineBytes(std::span<const std::byte> bytes) {
  std::uint64_t all = 0;
  while (!bytes.empty()) {
    std::uint64_t group = 0;
    const std::size_t size = std::min(bytes.size(), sizeof group);
    std::memcpy(&group, bytes.data(), size);
    all |= group;
    bytes = bytes.subspan(size);
  }
  return all;
}

bool IsAscii(std::span<const std::byte> bytes) {
  return (CombineBytes(bytes) & 0x8080808080808080) == 0;
}

// Whether every unit is below U+0080. `units` are little-endian.
bool IsAsciiUtf16(std::span<const std::byte> units) {
  constexpr std::uint64_t NON_ASCII =
      std::endian::native == std::endian::little ? 0xFF80FF80FF80FF80 : 0x80FF80FF80FF80FF;
  return (CombineBytes(units) & NON_ASCII) == 0;
}

std::string ToString(std::span<const std::byte> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

std::string EveryOtherByte(std::span<const std::byte> units) {
  std::string text(units.size() / 2, '\0');
  for (std::size_t i = 0; i < text.size(); ++i)
    text[i] = static_cast<char>(units[2 * i]);
  return text;
}

// `stored` without its mark. A zero byte switches between one and two bytes a character.
std::u16string Expand(std::span<const std::byte> stored) {
  const ByteReader reader(stored);
  std::u16string text(stored.size(), u'\0');
  char16_t* out = text.data();
  bool isWide = false;
  for (std::size_t i = 0; i < stored.size();) {
    if (stored[i] == std::byte{0}) {
      isWide = !isWide;
      ++i;
    } else if (isWide) {
      *out++ = static_cast<char16_t>(reader.U16(i));
      i += 2;
    } else {
      *out++ = static_cast<char16_t>(stored[i]);
      ++i;
    }
  }
  text.resize(static_cast<std::size_t>(out - text.data()));
  return text;
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
  if (stored.size() % 2 != 0) throw DatabaseError({}, "a text ends within a character");
  if (IsAsciiUtf16(stored)) return EveryOtherByte(stored);
  const ByteReader reader(stored);
  std::u16string text(stored.size() / 2, u'\0');
  for (std::size_t i = 0; i < text.size(); ++i)
    text[i] = static_cast<char16_t>(reader.U16(2 * i));
  return converter_->FromUtf16(text, targetPage_);
}

std::string TextDecoder::FromCompressed(std::span<const std::byte> stored) const {
  const bool hasSwitch = !stored.empty() && std::memchr(stored.data(), 0, stored.size()) != nullptr;
  if (!hasSwitch && IsAscii(stored)) return ToString(stored);
  return converter_->FromUtf16(Expand(stored), targetPage_);
}

}  // namespace nimport::jet
