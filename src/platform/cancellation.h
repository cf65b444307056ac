#ifndef NIMPORT_PLATFORM_CANCELLATION_H_
#define NIMPORT_PLATFORM_CANCELLATION_H_

namespace nimport::platform {

// While it lives, nobody can cancel the calling thread; a request that comes meanwhile takes effect
// afterwards, where the thread next waits or reads. Does nothing on a system where threads cannot
// be cancelled.
class CancellationDelay {
 public:
  CancellationDelay() noexcept;
  ~CancellationDelay();
  CancellationDelay(const CancellationDelay&) = delete;
  CancellationDelay& operator=(const CancellationDelay&) = delete;

 private:
  int stateBefore_ = 0;
};

}  // namespace nimport::platform

#endif  // NIMPORT_PLATFORM_CANCELLATION_H_
