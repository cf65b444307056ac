#include "platform/posix/posix_platform.h"

#include <charconv>
#include <string>

namespace nimport::platform {
namespace posix {
namespace {

constexpr int NT_FAMILY = 2;

}  // namespace

std::optional<int> PosixPlatform::PlatformId() const {
  const std::optional<std::string> setting = settings_("NIMPORT_PLATFORM_ID");
  if (!setting) return NT_FAMILY;
  int id = 0;
  const char* const end = setting->data() + setting->size();
  const auto [next, error] = std::from_chars(setting->data(), end, id);
  if (error != std::errc() || next != end) return std::nullopt;
  return id;
}

bool PosixPlatform::IsSalvaging() const {
  return settings_("NIMPORT_SALVAGE") == "1";
}

}  // namespace posix

Platform& SystemPlatform() {
  static posix::PosixPlatform platform(posix::EnvironmentSettings());
  return platform;
}

}  // namespace nimport::platform
