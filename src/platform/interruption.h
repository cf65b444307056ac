// Ctrl-C and its like. Not everything that takes long can be interrupted, so that a thread of its
// own waits for signals and ends the program where the work does not end by itself.
#ifndef NIMPORT_PLATFORM_INTERRUPTION_H_
#define NIMPORT_PLATFORM_INTERRUPTION_H_

#include <atomic>
#include <functional>
#include <memory>

namespace nimport::platform {

class InterruptionWatcher;

// While an object lives, SIGINT, SIGTERM and SIGHUP do not end the program but are noted, so that
// the work can stop at a good place. Where it has not stopped after half a second, or at a second
// signal, the program ends: it says what it knows by then and exits with the code given here, a
// second after the signal at the latest. One object per process, made before other threads are.
class Interruption {
 public:
  explicit Interruption(int exitCode);
  ~Interruption();
  Interruption(const Interruption&) = delete;
  Interruption& operator=(const Interruption&) = delete;

  [[nodiscard]] static bool IsRequested();

  // True from the first signal on; lasts as long as the process.
  [[nodiscard]] static const std::atomic<bool>& Flag();

  // While an object lives, the thread that made the Interruption does something that can take long,
  // and touches nothing that a Report reads. Does nothing in other threads.
  class Pause {
   public:
    Pause();
    ~Pause();
    Pause(const Pause&) = delete;
    Pause& operator=(const Pause&) = delete;
  };

  // While an object lives, a program that ends early calls `print`, in another thread, while the
  // working one waits; not at all where that does not wait. The youngest object comes first.
  class Report {
   public:
    explicit Report(std::function<void()> print);
    ~Report();
    Report(const Report&) = delete;
    Report& operator=(const Report&) = delete;
  };

 private:
  std::unique_ptr<InterruptionWatcher> watcher_;
};

}  // namespace nimport::platform

#endif  // NIMPORT_PLATFORM_INTERRUPTION_H_
