#include "platform/interruption.h"

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "platform/interruption_watcher.h"
#include "text/visible.h"

namespace nimport::platform {

namespace {

std::atomic<bool> isRequested = false;
int exitCodeWhenInterrupted = 0;

// Held by the thread that made the Interruption, but for its pauses: whoever can lock it finds
// everything that this thread works on at rest. The reports are changed by the working thread and
// read under the lock.
std::mutex work;
thread_local bool isWorker = false;
std::vector<std::function<void()>> reports;

constexpr std::chrono::milliseconds TIME_TO_STOP{400};
constexpr std::chrono::milliseconds TIME_TO_REPORT{350};

bool IsAtRest() {
  for (int tries = 0; tries < 20; ++tries) {
    if (work.try_lock()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return false;
}

[[noreturn]] void EndNow() {
  // A report may wait forever for somebody to read it.
  EndProcessIn(TIME_TO_REPORT, exitCodeWhenInterrupted);
  // Not unlocked: the working thread stays where it is.
  const bool isAtRest = IsAtRest();
  if (isAtRest) {
    try {
      while (!reports.empty()) {
        reports.back()();
        reports.pop_back();
      }
    } catch (const std::exception& error) {
      std::cerr << "nimport: " << text::Visible(error.what()) << '\n';
    }
    std::cout.flush();
  }
  std::cerr << "nimport: interrupted\n";
  std::_Exit(exitCodeWhenInterrupted);
}

}  // namespace

Interruption::Interruption(int exitCode) {
  exitCodeWhenInterrupted = exitCode;
  work.lock();
  isWorker = true;
  watcher_ = std::make_unique<InterruptionWatcher>(
      TIME_TO_STOP, [] { isRequested = true; }, EndNow);
}

Interruption::~Interruption() {
  {
    const Pause pause;
    watcher_.reset();
  }
  isWorker = false;
  work.unlock();
}

bool Interruption::IsRequested() {
  return isRequested;
}

const std::atomic<bool>& Interruption::Flag() {
  return isRequested;
}

Interruption::Pause::Pause() {
  if (isWorker) work.unlock();
}

Interruption::Pause::~Pause() {
  if (isWorker) work.lock();
}

Interruption::Report::Report(std::function<void()> print) {
  reports.push_back(std::move(print));
}

Interruption::Report::~Report() {
  reports.pop_back();
}

}  // namespace nimport::platform
