#include <windows.h>

#include "platform/settings.h"
#include "platform/windows/wide_text.h"

namespace nimport::platform {

// The C library's copy of the environment would show neither what the host sets later nor, in the
// system's own code page, a path outside that code page.
Settings EnvironmentSettings() {
  return [](const char* name) -> std::optional<std::string> {
    const std::wstring wideName = windows::WideFromUtf8(name);
    std::wstring value(MAX_PATH, L'\0');
    while (true) {
      const DWORD length =
          GetEnvironmentVariableW(wideName.c_str(), value.data(), static_cast<DWORD>(value.size()));
      if (length == 0) return std::nullopt;
      const bool fits = length < value.size();
      value.resize(length);
      if (fits) return windows::Utf8FromWide(value);
    }
  };
}

}  // namespace nimport::platform
