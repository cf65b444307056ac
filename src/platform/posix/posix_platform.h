#ifndef NIMPORT_PLATFORM_POSIX_POSIX_PLATFORM_H_
#define NIMPORT_PLATFORM_POSIX_POSIX_PLATFORM_H_

#include <string>
#include <vector>

#include "platform/platform.h"
#include "platform/posix/diagnostics_file.h"
#include "platform/posix/posix_clock.h"
#include "platform/posix/posix_file_system.h"
#include "platform/posix/posix_modules.h"
#include "platform/registry_files.h"
#include "platform/settings.h"
#include "text/code_page_converter.h"

namespace nimport::platform::posix {

// The files that stand for the registry: those that NIMPORT_REGISTRY names, separated by ':', else
// "system.reg" and "user.reg" of the Wine prefix.
[[nodiscard]] std::vector<std::string> FindRegistryFiles(const Settings& settings);

// The platform on a POSIX system, with its settings from the environment or, in a test, from
// elsewhere. The time zone comes from the environment in either case.
class PosixPlatform final : public Platform {
 public:
  explicit PosixPlatform(const Settings& settings)
      : settings_(settings),
        registry_([settings] { return FindRegistryFiles(settings); }, text_),
        files_(settings, text_),
        diagnostics_(settings) {}

  // NIMPORT_PLATFORM_ID, else 2. Empty when that is no number.
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
  RegistryFiles registry_;
  PosixFileSystem files_;
  PosixClock clock_;
  PosixModuleLoader modules_;
  DiagnosticsFile diagnostics_;
};

}  // namespace nimport::platform::posix

#endif  // NIMPORT_PLATFORM_POSIX_POSIX_PLATFORM_H_
