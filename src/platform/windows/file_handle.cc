#include "platform/windows/file_handle.h"

#include <array>

#include "common/file_error.h"
#include "platform/windows/wide_text.h"

namespace nimport::platform::windows {

std::string MessageOf(DWORD errorNumber) {
  std::array<wchar_t, 512> text{};
  constexpr DWORD FLAGS =
      FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK;
  const DWORD length = FormatMessageW(FLAGS, nullptr, errorNumber, 0, text.data(),
                                      static_cast<DWORD>(text.size()), nullptr);
  std::wstring_view message(text.data(), length);
  while (message.ends_with(L' ') || message.ends_with(L'.'))
    message.remove_suffix(1);
  const std::string number = "error " + std::to_string(errorNumber);
  return message.empty() ? number : Utf8FromWide(message) + " (" + number + ")";
}

void FailFile(const std::string& name, const std::string& action, DWORD errorNumber) {
  throw FileError(name + ": " + action + ": " + MessageOf(errorNumber));
}

}  // namespace nimport::platform::windows
