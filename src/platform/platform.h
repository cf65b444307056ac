// Everything that the core asks of the system it runs on. A session works on the platform that it
// was opened with: the system's own, or one that a test made.
#ifndef NIMPORT_PLATFORM_PLATFORM_H_
#define NIMPORT_PLATFORM_PLATFORM_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "platform/diagnostics.h"
#include "platform/file_system.h"
#include "platform/modules.h"
#include "platform/registry.h"
#include "platform/settings.h"
#include "text/code_page_converter.h"

namespace nimport::platform {

class Platform {
 public:
  virtual ~Platform() = default;

  // 1 is the Windows 95 family, 2 the NT family. Empty when the system does not tell.
  [[nodiscard]] virtual std::optional<int> PlatformId() const = 0;

  // The number of the calling process. A process that was forked off has another than its parent.
  [[nodiscard]] virtual std::int64_t ProcessId() const noexcept = 0;

  // Whether everything is wanted that can still be read: damaged pages and rows are stepped over
  // and reported instead of failing the call, NUL bytes do not end the source of a MIME mail, and
  // the address book has the addresses that stand in no group.
  [[nodiscard]] virtual bool IsSalvaging() const = 0;

  [[nodiscard]] virtual const Registry& registry() const = 0;
  [[nodiscard]] virtual FileSystem& files() = 0;
  [[nodiscard]] virtual const Clock& clock() const = 0;
  [[nodiscard]] virtual ModuleLoader& modules() = 0;
  [[nodiscard]] virtual const text::CodePageConverter& text() const = 0;
  [[nodiscard]] virtual DiagnosticsSink& diagnostics() = 0;
};

// The platform of the system that this library was built for. Reads its settings from the
// environment at each use; one object per process.
[[nodiscard]] Platform& SystemPlatform();

// A platform of this system with settings of its own. The time zone is the process's all the same.
[[nodiscard]] std::unique_ptr<Platform> MakePlatform(const Settings& settings);

// The files that stand for the registry with these settings, there or not, as native paths; none
// where the system has a registry of its own.
[[nodiscard]] std::vector<std::string> RegistryFilesInUse(const Settings& settings);

// The platform for sessions opened from now on; null means the system's own. For tests.
void SetPlatformForNewSessions(Platform* platform);
[[nodiscard]] Platform& PlatformForNewSessions();

}  // namespace nimport::platform

#endif  // NIMPORT_PLATFORM_PLATFORM_H_
