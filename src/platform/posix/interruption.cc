#include "platform/interruption.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <iostream>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include <sys/time.h>
#include <unistd.h>

#include "text/visible.h"

namespace nimport::platform {

namespace {

std::atomic<bool> isRequested = false;
std::atomic<bool> isEnding = false;
int exitCodeWhenInterrupted = 0;

// Held by the thread that made the Interruption, but for its pauses: whoever can lock it finds
// everything that this thread works on at rest. The reports are changed by the working thread and
// read under the lock.
std::mutex work;
thread_local bool isWorker = false;
std::vector<std::function<void()>> reports;

constexpr std::chrono::milliseconds TIME_TO_STOP{400};
constexpr std::chrono::milliseconds TIME_TO_REPORT{350};

timespec ToTimespec(std::chrono::milliseconds time) {
  return {.tv_sec = 0, .tv_nsec = std::chrono::nanoseconds(time).count()};
}

// A report may wait forever for somebody to read it.
void EndWithoutReport(int) {
  _exit(exitCodeWhenInterrupted);
}

void LimitTimeToReport() {
  std::signal(SIGALRM, EndWithoutReport);
  itimerval timer = {};
  timer.it_value.tv_usec = std::chrono::microseconds(TIME_TO_REPORT).count();
  setitimer(ITIMER_REAL, &timer, nullptr);
}

bool IsAtRest() {
  for (int tries = 0; tries < 20; ++tries) {
    if (work.try_lock()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return false;
}

[[noreturn]] void EndNow() {
  LimitTimeToReport();
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
  _exit(exitCodeWhenInterrupted);
}

}  // namespace

// Waits for the signals in a thread of its own.
class Interruption::Watcher {
 public:
  Watcher() {
    sigemptyset(&signals_);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
      sigaddset(&signals_, signal);
    // Threads that are made from here on inherit this: the signals come to the watcher alone.
    pthread_sigmask(SIG_BLOCK, &signals_, &formerMask_);
    thread_ = std::thread([this] { Watch(); });
  }
  ~Watcher() {
    isEnding = true;
    pthread_kill(thread_.native_handle(), SIGTERM);
    thread_.join();
    pthread_sigmask(SIG_SETMASK, &formerMask_, nullptr);
  }
  Watcher(const Watcher&) = delete;
  Watcher& operator=(const Watcher&) = delete;

 private:
  void Watch() const {
    int signal = 0;
    sigwait(&signals_, &signal);
    if (isEnding) return;
    isRequested = true;
    const timespec time = ToTimespec(TIME_TO_STOP);
    sigtimedwait(&signals_, nullptr, &time);
    if (!isEnding) EndNow();
  }

  sigset_t signals_ = {};
  sigset_t formerMask_ = {};
  std::thread thread_;
};

Interruption::Interruption(int exitCode) {
  exitCodeWhenInterrupted = exitCode;
  work.lock();
  isWorker = true;
  watcher_ = std::make_unique<Watcher>();
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
