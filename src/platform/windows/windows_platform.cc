#include "platform/windows/windows_platform.h"

#include <windows.h>

#include "common/library_lifetime.h"

namespace nimport::platform {
namespace windows {
namespace {

std::optional<int> AskSystem() {
  OSVERSIONINFOW version{};
  version.dwOSVersionInfoSize = sizeof version;
  if (GetVersionExW(&version) == FALSE) return std::nullopt;
  return static_cast<int>(version.dwPlatformId);
}

}  // namespace

std::optional<int> WindowsPlatform::PlatformId() const {
  return ReadPlatformId(settings_, AskSystem());
}

std::int64_t WindowsPlatform::ProcessId() const noexcept {
  return GetCurrentProcessId();
}

bool WindowsPlatform::IsSalvaging() const {
  return ReadIsSalvaging(settings_);
}

}  // namespace windows

std::unique_ptr<Platform> MakePlatform(const Settings& settings) {
  return std::make_unique<windows::WindowsPlatform>(settings);
}

std::vector<std::string> RegistryFilesInUse(const Settings& settings) {
  return ReadRegistryFileNames(settings, ';');
}

Platform& SystemPlatform() {
  static auto& platform = MakeForLibrary<windows::WindowsPlatform>(EnvironmentSettings());
  return platform;
}

}  // namespace nimport::platform
