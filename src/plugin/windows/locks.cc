// The locks that the C++ library asks for. MinGW-w64's own take memory and a slot of the process
// each time that the plug-in is loaded, and never give them back; the system's need neither.
#include <pthread.h>
#include <windows.h>

namespace {

// What the initializers of locks and conditions set. The C++ library uses a recursive lock for the
// making of static objects, but never takes it twice.
constexpr INT_PTR UNUSED_YET[] = {GENERIC_INITIALIZER, GENERIC_ERRORCHECK_INITIALIZER,
                                  GENERIC_NORMAL_INITIALIZER, GENERIC_RECURSIVE_INITIALIZER};

static_assert(sizeof(pthread_mutex_t) == sizeof(SRWLOCK));
static_assert(sizeof(pthread_cond_t) == sizeof(CONDITION_VARIABLE));

// The system's object in the place of ours. Its first state is zero; none that it takes later is
// UNUSED_YET.
template <typename SystemObject>
SystemObject* Ready(void* object) {
  for (const INT_PTR initial : UNUSED_YET) {
    InterlockedCompareExchangePointer(static_cast<void**>(object), nullptr,
                                      reinterpret_cast<void*>(initial));
  }
  return static_cast<SystemObject*>(object);
}

// States of a pthread_once_t.
constexpr LONG RUNNING = 1;
constexpr LONG DONE = 2;

}  // namespace

extern "C" {

int pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t*) {
  InitializeSRWLock(reinterpret_cast<SRWLOCK*>(mutex));
  return 0;
}

int pthread_mutex_destroy(pthread_mutex_t*) {
  return 0;
}

int pthread_mutex_lock(pthread_mutex_t* mutex) {
  AcquireSRWLockExclusive(Ready<SRWLOCK>(mutex));
  return 0;
}

int pthread_mutex_unlock(pthread_mutex_t* mutex) {
  ReleaseSRWLockExclusive(reinterpret_cast<SRWLOCK*>(mutex));
  return 0;
}

int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
  SleepConditionVariableSRW(Ready<CONDITION_VARIABLE>(condition), reinterpret_cast<SRWLOCK*>(mutex),
                            INFINITE, 0);
  return 0;
}

int pthread_cond_broadcast(pthread_cond_t* condition) {
  WakeAllConditionVariable(Ready<CONDITION_VARIABLE>(condition));
  return 0;
}

int pthread_once(pthread_once_t* once, void (*work)()) {
  auto* const state = reinterpret_cast<volatile LONG*>(once);
  if (InterlockedCompareExchange(state, RUNNING, PTHREAD_ONCE_INIT) == PTHREAD_ONCE_INIT) {
    work();
    InterlockedExchange(state, DONE);
  }
  while (InterlockedCompareExchange(state, DONE, DONE) != DONE)
    Sleep(0);
  return 0;
}
}
