// UTF-16 as the core has it and as the system takes it: the same units under two names.
#ifndef NIMPORT_PLATFORM_WINDOWS_WIDE_TEXT_H_
#define NIMPORT_PLATFORM_WINDOWS_WIDE_TEXT_H_

#include <string>
#include <string_view>

#include "text/utf16.h"

namespace nimport::platform::windows {

static_assert(sizeof(wchar_t) == sizeof(char16_t));

[[nodiscard]] inline std::wstring ToWide(std::u16string_view text) {
  return {text.begin(), text.end()};
}

[[nodiscard]] inline std::u16string FromWide(std::wstring_view text) {
  return {text.begin(), text.end()};
}

// What is no UTF-8 becomes U+FFFD.
[[nodiscard]] inline std::wstring WideFromUtf8(std::string_view text) {
  return ToWide(text::Utf16FromUtf8(text));
}

[[nodiscard]] inline std::string Utf8FromWide(std::wstring_view text) {
  return text::Utf8FromUtf16(FromWide(text));
}

}  // namespace nimport::platform::windows

#endif  // NIMPORT_PLATFORM_WINDOWS_WIDE_TEXT_H_
