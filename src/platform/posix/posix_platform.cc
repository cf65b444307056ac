#include "platform/posix/posix_platform.h"

#include <unistd.h>

#include "common/library_lifetime.h"
#include "platform/posix/wine_prefix.h"

namespace nimport::platform {
namespace posix {
namespace {

constexpr int NT_FAMILY = 2;

}  // namespace

std::vector<std::string> FindRegistryFiles(const Settings& settings) {
  if (settings("NIMPORT_REGISTRY")) return ReadRegistryFileNames(settings, ':');
  const std::optional<std::string> prefix = FindWinePrefix(settings);
  if (!prefix) return {};
  return {*prefix + "/system.reg", *prefix + "/user.reg"};
}

std::optional<int> PosixPlatform::PlatformId() const {
  return ReadPlatformId(settings_, NT_FAMILY);
}

std::int64_t PosixPlatform::ProcessId() const noexcept {
  return getpid();
}

bool PosixPlatform::IsSalvaging() const {
  return ReadIsSalvaging(settings_);
}

}  // namespace posix

std::unique_ptr<Platform> MakePlatform(const Settings& settings) {
  return std::make_unique<posix::PosixPlatform>(settings);
}

std::vector<std::string> RegistryFilesInUse(const Settings& settings) {
  return posix::FindRegistryFiles(settings);
}

Platform& SystemPlatform() {
  static auto& platform = MakeForLibrary<posix::PosixPlatform>(EnvironmentSettings());
  return platform;
}

}  // namespace nimport::platform
