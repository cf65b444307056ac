#include "platform/platform.h"

#include <atomic>

namespace nimport::platform {
namespace {

std::atomic<Platform*> platformForNewSessions{nullptr};

}  // namespace

void SetPlatformForNewSessions(Platform* platform) {
  platformForNewSessions = platform;
}

Platform& PlatformForNewSessions() {
  Platform* platform = platformForNewSessions;
  return platform == nullptr ? SystemPlatform() : *platform;
}

}  // namespace nimport::platform
