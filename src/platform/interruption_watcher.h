// How a system tells a program that its user wants it to end.
#ifndef NIMPORT_PLATFORM_INTERRUPTION_WATCHER_H_
#define NIMPORT_PLATFORM_INTERRUPTION_WATCHER_H_

#include <chrono>
#include <memory>

namespace nimport::platform {

// Ends the process so long from now, with this exit code and nothing else done, whatever it is
// doing then.
void EndProcessIn(std::chrono::milliseconds time, int exitCode);

// Waits for SIGINT, SIGTERM and SIGHUP, on Windows for Ctrl-C, Ctrl-Break and the end of the
// console or the session, in a thread of its own. None of them ends the program while an object
// lives.
class InterruptionWatcher {
 public:
  // At the first one `note` is called, then, at the second one or when so much time has passed,
  // `end`, which does not return: both in that thread.
  InterruptionWatcher(std::chrono::milliseconds time, void (*note)(), void (*end)());
  // Nothing is called after that.
  ~InterruptionWatcher();
  InterruptionWatcher(const InterruptionWatcher&) = delete;
  InterruptionWatcher& operator=(const InterruptionWatcher&) = delete;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace nimport::platform

#endif  // NIMPORT_PLATFORM_INTERRUPTION_WATCHER_H_
