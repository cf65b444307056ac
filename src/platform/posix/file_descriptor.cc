#include "platform/posix/file_descriptor.h"

#include <system_error>

#include <signal.h>
#include <time.h>

#include "common/file_error.h"

namespace nimport::platform::posix {
namespace {

sigset_t SetOf(int signalNumber) {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, signalNumber);
  return set;
}

}  // namespace

void FailFile(const std::string& name, const std::string& action, int errorNumber) {
  throw FileError(name + ": " + action + ": " + std::generic_category().message(errorNumber));
}

SignalGuard::SignalGuard(int signalNumber) : signalNumber_(signalNumber), isOurs_(false) {
  const sigset_t set = SetOf(signalNumber);
  sigset_t pending;
  sigset_t before;
  sigpending(&pending);
  pthread_sigmask(SIG_BLOCK, &set, &before);
  isOurs_ = sigismember(&before, signalNumber) == 0 && sigismember(&pending, signalNumber) == 0;
}

SignalGuard::~SignalGuard() {
  if (!isOurs_) return;
  const sigset_t set = SetOf(signalNumber_);
  const timespec noWait{};
  sigtimedwait(&set, nullptr, &noWait);
  pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

}  // namespace nimport::platform::posix
