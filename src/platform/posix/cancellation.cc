#include "platform/cancellation.h"

#include <pthread.h>

namespace nimport::platform {

CancellationDelay::CancellationDelay() noexcept {
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &stateBefore_);
}

CancellationDelay::~CancellationDelay() {
  pthread_setcancelstate(stateBefore_, nullptr);
}

}  // namespace nimport::platform
