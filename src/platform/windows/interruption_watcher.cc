#include "platform/interruption_watcher.h"

#include <atomic>
#include <thread>

#include <windows.h>

namespace nimport::platform {

namespace {

// Set at every Ctrl-C; never closed, since the system's thread may come at any time.
HANDLE RequestEvent() {
  static HANDLE const event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  return event;
}

BOOL WINAPI OnControl(DWORD control) {
  SetEvent(RequestEvent());
  // The system ends the process when this returns, but for these two.
  if (control != CTRL_C_EVENT && control != CTRL_BREAK_EVENT) Sleep(INFINITE);
  return TRUE;
}

}  // namespace

void EndProcessIn(std::chrono::milliseconds time, int exitCode) {
  std::thread([time, exitCode] {
    std::this_thread::sleep_for(time);
    TerminateProcess(GetCurrentProcess(), static_cast<UINT>(exitCode));
  }).detach();
}

struct InterruptionWatcher::State {
  std::atomic<bool> isEnding = false;
  std::thread thread;
};

InterruptionWatcher::InterruptionWatcher(std::chrono::milliseconds time, void (*note)(),
                                         void (*end)())
    : state_(std::make_unique<State>()) {
  State& state = *state_;
  SetConsoleCtrlHandler(OnControl, TRUE);
  state.thread = std::thread([&state, time, note, end] {
    WaitForSingleObject(RequestEvent(), INFINITE);
    if (state.isEnding) return;
    note();
    WaitForSingleObject(RequestEvent(), static_cast<DWORD>(time.count()));
    if (!state.isEnding) end();
  });
}

InterruptionWatcher::~InterruptionWatcher() {
  state_->isEnding = true;
  SetEvent(RequestEvent());
  state_->thread.join();
  SetConsoleCtrlHandler(OnControl, FALSE);
}

}  // namespace nimport::platform
