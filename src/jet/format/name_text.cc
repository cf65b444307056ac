#include "jet/format/name_text.h"

#include "text/ascii.h"

namespace nimport::jet {
namespace {

std::string Convert(std::string_view name, unsigned from, unsigned to,
                    const text::CodePageConverter& converter) {
  if (from == to || text::IsAscii(name)) return std::string(name);
  return converter.FromUtf16(converter.ToUtf16(name, from), to);
}

}  // namespace

std::string ToUtf8(std::string_view name, unsigned codePage,
                   const text::CodePageConverter& converter) {
  return Convert(name, codePage, text::CODE_PAGE_UTF8, converter);
}

std::string FromUtf8(std::string_view name, unsigned codePage,
                     const text::CodePageConverter& converter) {
  return Convert(name, text::CODE_PAGE_UTF8, codePage, converter);
}

}  // namespace nimport::jet
