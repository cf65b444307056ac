// What the compiler's libraries, linked into this one, take and never give back. A host may load
// and unload the plug-in as often as it likes.
#include <cstdlib>
#include <exception>

#include <windows.h>

namespace __gnu_cxx {
// Frees what the C++ library sets aside to throw with when memory has run out.
void __freeres();
}  // namespace __gnu_cxx

namespace nimport {
namespace {

// What a thread's exceptions need, as the C++ ABI has it: those being handled, and how many are on
// their way.
struct ExceptionState {
  void* caught = nullptr;
  unsigned int uncaughtCount = 0;
};

void WINAPI FreeState(void* state) {
  std::free(state);
}

// One slot with a state for each thread that has thrown. The C++ library's own keeps a slot of the
// process for each time that the plug-in is loaded, of about a thousand.
class ExceptionStates {
 public:
  ExceptionStates() : slot_(FlsAlloc(FreeState)) {}
  // Frees the states of all threads.
  ~ExceptionStates() {
    FlsFree(slot_);
    __gnu_cxx::__freeres();
  }
  ExceptionStates(const ExceptionStates&) = delete;
  ExceptionStates& operator=(const ExceptionStates&) = delete;

  [[nodiscard]] ExceptionState* Find() const {
    return static_cast<ExceptionState*>(FlsGetValue(slot_));
  }
  [[nodiscard]] ExceptionState* Get() const {
    ExceptionState* state = Find();
    if (state != nullptr) return state;
    state = static_cast<ExceptionState*>(std::calloc(1, sizeof(ExceptionState)));
    if (state == nullptr || FlsSetValue(slot_, state) == FALSE) std::terminate();
    return state;
  }

 private:
  DWORD slot_;
};

// Made first and destroyed last of all objects of the library.
__attribute__((init_priority(101))) ExceptionStates states;

}  // namespace
}  // namespace nimport

extern "C" {
// These take the places of the C++ library's own.
nimport::ExceptionState* __cxa_get_globals() noexcept {
  return nimport::states.Get();
}
nimport::ExceptionState* __cxa_get_globals_fast() noexcept {
  return nimport::states.Get();
}
}
