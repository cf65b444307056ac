// The value that the compiler puts before return addresses, and what happens when it has changed.
// The compiler's own library draws the value from the system's cryptography. That loads further
// libraries while this one is being loaded, which may wait for each other forever.
#include <cstdint>
#include <initializer_list>

#include <windows.h>

extern "C" {

// The compiler's names. Each is defined here, so that nothing of its library comes in.
void* __stack_chk_guard = nullptr;
[[noreturn]] void __stack_chk_fail();

}  // extern "C"

namespace {

// Ends the process as the system's own compiler does: no handler of the host runs on a stack that
// cannot be believed.
[[noreturn]] void EndProcess(const char* reason) {
  OutputDebugStringA(reason);
  EXCEPTION_RECORD record{};
  record.ExceptionCode = static_cast<DWORD>(STATUS_STACK_BUFFER_OVERRUN);
  record.ExceptionFlags = EXCEPTION_NONCONTINUABLE;
  RaiseFailFastException(&record, nullptr, FAIL_FAST_GENERATE_EXCEPTION_ADDRESS);
  TerminateProcess(GetCurrentProcess(), record.ExceptionCode);
  while (true) {
  }
}

// What differs at each start: time, ids, where the system has put things. Asks kernel32 alone.
__attribute__((constructor(101))) void ChooseGuard() {
  FILETIME time{};
  GetSystemTimeAsFileTime(&time);
  LARGE_INTEGER counter{};
  QueryPerformanceCounter(&counter);
  std::uint64_t value = static_cast<std::uint64_t>(counter.QuadPart);
  for (const std::uint64_t part :
       {std::uint64_t{time.dwLowDateTime}, std::uint64_t{time.dwHighDateTime},
        std::uint64_t{GetCurrentProcessId()}, std::uint64_t{GetCurrentThreadId()},
        std::uint64_t{reinterpret_cast<std::uintptr_t>(&time)},
        std::uint64_t{reinterpret_cast<std::uintptr_t>(&__stack_chk_guard)}}) {
    value =
        (value ^ part) * 0x9E3779B97F4A7C15;  // odd, its bits far apart: 2^64 by the golden ratio
    value ^= value >> 29;
  }
  // A copied text ends at its lowest byte.
  const auto guard = static_cast<std::uintptr_t>(value) & ~std::uintptr_t{0xFF};
  __stack_chk_guard = reinterpret_cast<void*>(guard);
}

}  // namespace

extern "C" void __stack_chk_fail() {
  EndProcess("nimport: the stack was overwritten\n");
}
