#include "platform/cancellation.h"

namespace nimport::platform {

// Windows knows only the end of a thread from outside (TerminateThread), which nothing delays.
CancellationDelay::CancellationDelay() noexcept {
  stateBefore_ = 0;
}

CancellationDelay::~CancellationDelay() = default;

}  // namespace nimport::platform
