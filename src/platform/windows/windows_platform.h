#ifndef NIMPORT_PLATFORM_WINDOWS_WINDOWS_PLATFORM_H_
#define NIMPORT_PLATFORM_WINDOWS_WINDOWS_PLATFORM_H_

#include "platform/platform.h"
#include "platform/settings.h"
#include "platform/windows/diagnostics_file.h"
#include "platform/windows/windows_clock.h"
#include "platform/windows/windows_file_system.h"
#include "platform/windows/windows_modules.h"
#include "platform/windows/windows_registry.h"
#include "text/code_page_converter.h"

namespace nimport::platform::windows {

// The platform on Windows, with its settings from the environment or, in a test, from elsewhere.
class WindowsPlatform final : public Platform {
 public:
  explicit WindowsPlatform(const Settings& settings)
      : settings_(settings),
        registry_(settings, text_),
        files_(settings, text_),
        diagnostics_(settings) {}

  // NIMPORT_PLATFORM_ID, else what the system tells. Empty when that is no number.
  [[nodiscard]] std::optional<int> PlatformId() const override;
  [[nodiscard]] std::int64_t ProcessId() const noexcept override;
  // Whether NIMPORT_SALVAGE is 1.
  [[nodiscard]] bool IsSalvaging() const override;

  [[nodiscard]] const Registry& registry() const override { return registry_; }
  [[nodiscard]] FileSystem& files() override { return files_; }
  [[nodiscard]] const Clock& clock() const override { return clock_; }
  [[nodiscard]] ModuleLoader& modules() override { return modules_; }
  [[nodiscard]] const text::CodePageConverter& text() const override { return text_; }
  [[nodiscard]] DiagnosticsSink& diagnostics() override { return diagnostics_; }

 private:
  Settings settings_;
  text::CodePageConverter text_;
  WindowsRegistry registry_;
  WindowsFileSystem files_;
  WindowsClock clock_;
  WindowsModuleLoader modules_;
  DiagnosticsFile diagnostics_;
};

}  // namespace nimport::platform::windows

#endif  // NIMPORT_PLATFORM_WINDOWS_WINDOWS_PLATFORM_H_
