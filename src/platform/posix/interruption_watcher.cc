#include "platform/interruption_watcher.h"

#include <atomic>
#include <csignal>
#include <thread>

#include <sys/time.h>
#include <unistd.h>

namespace nimport::platform {

namespace {

int exitCodeOfAlarm = 0;

timespec ToTimespec(std::chrono::milliseconds time) {
  return {.tv_sec = time.count() / 1000,
          .tv_nsec = std::chrono::nanoseconds(time % std::chrono::seconds(1)).count()};
}

}  // namespace

void EndProcessIn(std::chrono::milliseconds time, int exitCode) {
  exitCodeOfAlarm = exitCode;
  std::signal(SIGALRM, [](int) { _exit(exitCodeOfAlarm); });
  itimerval timer = {};
  timer.it_value.tv_sec = time.count() / 1000;
  timer.it_value.tv_usec = std::chrono::microseconds(time % std::chrono::seconds(1)).count();
  setitimer(ITIMER_REAL, &timer, nullptr);
}

struct InterruptionWatcher::State {
  sigset_t signals = {};
  sigset_t formerMask = {};
  std::atomic<bool> isEnding = false;
  std::thread thread;
};

InterruptionWatcher::InterruptionWatcher(std::chrono::milliseconds time, void (*note)(),
                                         void (*end)())
    : state_(std::make_unique<State>()) {
  State& state = *state_;
  sigemptyset(&state.signals);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP})
    sigaddset(&state.signals, signal);
  // Threads that are made from here on inherit this: the signals come to this one alone.
  pthread_sigmask(SIG_BLOCK, &state.signals, &state.formerMask);
  state.thread = std::thread([&state, time, note, end] {
    int signal = 0;
    sigwait(&state.signals, &signal);
    if (state.isEnding) return;
    note();
    const timespec wait = ToTimespec(time);
    sigtimedwait(&state.signals, nullptr, &wait);
    if (!state.isEnding) end();
  });
}

InterruptionWatcher::~InterruptionWatcher() {
  state_->isEnding = true;
  pthread_kill(state_->thread.native_handle(), SIGTERM);
  state_->thread.join();
  pthread_sigmask(SIG_SETMASK, &state_->formerMask, nullptr);
}

}  // namespace nimport::platform
