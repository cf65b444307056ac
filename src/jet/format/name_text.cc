#include "jet/format/name_text.h"

#include <algorithm>

namespace nimport::jet {
namespace {

std::string Convert(std::string_view name, unsigned from, unsigned to,
                    const TextConverter& converter) {
  const bool isAscii = std::all_of(name.begin(), name.end(),
                                   [](char c) { return static_cast<unsigned char>(c) < 0x80; });
  if (from == to || isAscii) return std::string(name);
  return converter.FromUtf16(converter.ToUtf16(name, from), to);
}

}  // namespace

std::string ToUtf8(std::string_view name, unsigned codePage, const TextConverter& converter) {
  return Convert(name, codePage, CODE_PAGE_UTF8, converter);
}

std::string FromUtf8(std::string_view name, unsigned codePage, const TextConverter& converter) {
  return Convert(name, CODE_PAGE_UTF8, codePage, converter);
}

}  // namespace nimport::jet
