#ifndef NIMPORT_PLATFORM_WINDOWS_WINDOWS_REGISTRY_H_
#define NIMPORT_PLATFORM_WINDOWS_WINDOWS_REGISTRY_H_

#include <utility>

#include "platform/registry.h"
#include "platform/registry_files.h"
#include "platform/settings.h"
#include "text/code_page_converter.h"

namespace nimport::platform::windows {

// The system's registry as 32-bit programs see it; or, where NIMPORT_REGISTRY names files,
// separated by ';', those.
class WindowsRegistry final : public Registry {
 public:
  // `text` must outlive this object.
  WindowsRegistry(const Settings& settings, const text::CodePageConverter& text)
      : settings_(settings),
        text_(text),
        files_([settings] { return ReadRegistryFileNames(settings, ';'); }, text) {}

  [[nodiscard]] std::optional<std::string> ReadString(RegistryHive hive, std::string_view key,
                                                      std::string_view valueName) const override;

 private:
  Settings settings_;
  const text::CodePageConverter& text_;
  RegistryFiles files_;
};

}  // namespace nimport::platform::windows

#endif  // NIMPORT_PLATFORM_WINDOWS_WINDOWS_REGISTRY_H_
