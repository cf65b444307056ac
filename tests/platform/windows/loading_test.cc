// The library as a host loads and unloads it.
#include <cfenv>
#include <clocale>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <windows.h>

#include "common/loaded_library.h"
#include "common/process_environment.h"
#include "nimport/nimport.h"

namespace {

using nimport::tests::LoadedLibrary;

const std::string LIBRARY = NIMPORT_BINARY_DIR "/nimport.dll";

template <typename Function>
Function* Find(const LoadedLibrary& library, const char* name) {
  return reinterpret_cast<Function*>(library.Find(name));
}

// Work that throws and catches inside: there is no such store.
ResultCode FailToOpen(const LoadedLibrary& library) {
  HandleNode* session = nullptr;
  return Find<decltype(ML_Initialize)>(library, "ML_Initialize")(&session);
}

// What a process could run out of.
struct Resources {
  DWORD handles = 0;
  std::size_t freeThreadSlots = 0;
  std::size_t heapBytes = 0;
};

std::size_t CountHeapBytes() {
  HANDLE heaps[64];
  const DWORD count = GetProcessHeaps(64, heaps);
  std::size_t bytes = 0;
  for (DWORD i = 0; i < count; ++i) {
    PROCESS_HEAP_ENTRY entry{};
    while (HeapWalk(heaps[i], &entry) != FALSE) {
      if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0) bytes += entry.cbData;
    }
  }
  return bytes;
}

Resources CountResources() {
  Resources resources;
  GetProcessHandleCount(GetCurrentProcess(), &resources.handles);
  std::vector<DWORD> slots;
  while (slots.empty() || slots.back() != TLS_OUT_OF_INDEXES)
    slots.push_back(TlsAlloc());
  slots.pop_back();
  for (const DWORD slot : slots)
    TlsFree(slot);
  resources.freeThreadSlots = slots.size();
  resources.heapBytes = CountHeapBytes();
  return resources;
}

TEST(Loading, AThousandTimesLeavesNothingBehind) {
  // The system's own libraries stay, and the test's MIME library does, too: what they keep is not
  // ours.
  const LoadedLibrary kept[] = {LoadedLibrary("version.dll"), LoadedLibrary("advapi32.dll"),
                                LoadedLibrary(NIMPORT_BINARY_DIR "/bin/Wexmail.dll")};
  nimport::tests::SetVariable("NIMPORT_REGISTRY", "missing.reg");
  const auto loadAndUnload = [](int times) {
    for (int i = 0; i < times; ++i) {
      const LoadedLibrary library(LIBRARY);
      ASSERT_EQ(FailToOpen(library), RESULT_INVALID);
    }
  };
  loadAndUnload(10);
  const Resources before = CountResources();
  loadAndUnload(1000);
  const Resources after = CountResources();
  nimport::tests::SetVariable("NIMPORT_REGISTRY", "");
  EXPECT_EQ(after.handles, before.handles);
  EXPECT_EQ(after.freeThreadSlots, before.freeThreadSlots);
  // A byte for each time would be seen.
  EXPECT_LT(after.heapBytes, before.heapBytes + 1000);
  RecordProperty("heapGrowth", std::to_string(static_cast<long>(after.heapBytes) -
                                              static_cast<long>(before.heapBytes)));
  EXPECT_EQ(GetModuleHandleA("nimport.dll"), nullptr);
}

// Everything about computing that a host can set.
std::fenv_t ReadArithmetic() {
  std::fenv_t state{};
  std::fegetenv(&state);
  return state;
}

TEST(Loading, LeavesTheHostsArithmeticAndLocale) {
  std::fenv_t usual{};
  std::fegetenv(&usual);
  const std::string localeBefore = std::setlocale(LC_ALL, nullptr);
  // Single precision and another rounding, as graphics hosts set them, on the old unit.
  const std::uint16_t oddControlWord = 0x0C3F & ~0x0300;
  __asm__ volatile("fldcw %0" : : "m"(oddControlWord));
  std::fesetround(FE_UPWARD);
  const std::fenv_t before = ReadArithmetic();
  std::uint16_t after = 0;
  std::uint16_t controlBefore = 0;
  __asm__ volatile("fnstcw %0" : "=m"(controlBefore));
  {
    const LoadedLibrary library(LIBRARY);
    FailToOpen(library);
    std::int32_t exists = 0;
    Find<decltype(ML_IsExistMailer)>(library, "ML_IsExistMailer")(&exists);
  }
  __asm__ volatile("fnstcw %0" : "=m"(after));
  const int rounding = std::fegetround();
  const std::fenv_t state = ReadArithmetic();
  std::fesetenv(&usual);
  EXPECT_EQ(after, controlBefore);
  EXPECT_EQ(rounding, FE_UPWARD);
  EXPECT_EQ(state.__control_word, before.__control_word);
  EXPECT_EQ(state.__mxcsr, before.__mxcsr);
  EXPECT_EQ(std::setlocale(LC_ALL, nullptr), localeBefore);
}

}  // namespace
