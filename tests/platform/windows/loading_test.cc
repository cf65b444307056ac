// The library as a host loads and unloads it.
#include <clocale>
#include <cstdint>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <windows.h>

#include "common/loaded_library.h"
#include "common/process_environment.h"
#include "common/test_directory.h"
#include "mkstore/store_writer.h"
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
  EXPECT_EQ(GetModuleHandleW(L"nimport.dll"), nullptr);
}

// Everything about computing that a host can set: rounding, precision, which errors end in an
// exception, of the old unit and of the new one.
struct Arithmetic {
  std::uint16_t old = 0;
  std::uint32_t streaming = 0;
  friend bool operator==(const Arithmetic&, const Arithmetic&) = default;
};

Arithmetic ReadArithmetic() {
  Arithmetic state;
  __asm__ volatile("fnstcw %0" : "=m"(state.old));
  __asm__ volatile("stmxcsr %0" : "=m"(state.streaming));
  // Not what has happened so far.
  state.streaming &= ~0x3Fu;
  return state;
}

void SetArithmetic(const Arithmetic& state) {
  __asm__ volatile("fldcw %0" : : "m"(state.old));
  __asm__ volatile("ldmxcsr %0" : : "m"(state.streaming));
}

// Single precision, rounding upwards, no numbers near zero; wrong operations, divisions by zero and
// overflows raise exceptions, as hosts in some languages want it.
constexpr Arithmetic ODD{0x0872, 0xD900};

// Calls a function as a host with odd arithmetic does.
template <typename Call>
auto CallAsOddHost(Call&& call) {
  const Arithmetic usual = ReadArithmetic();
  SetArithmetic(ODD);
  auto answer = call();
  const Arithmetic after = ReadArithmetic();
  SetArithmetic(usual);
  EXPECT_EQ(after, ODD);
  return answer;
}

class OddHost : public testing::Test {
 protected:
  OddHost() {
    std::ifstream description(NIMPORT_SOURCE_DIR "/samples/hello-en.json");
    const nimport::mkstore::Store store =
        nimport::mkstore::MakeStore(nlohmann::json::parse(description), directory_.path());
    nimport::tests::SetVariable("NIMPORT_REGISTRY", store.RegistryVariable());
    nimport::tests::SetVariable("NIMPORT_DRIVES", store.DrivesVariable());
  }
  ~OddHost() override {
    nimport::tests::RemoveVariable("NIMPORT_REGISTRY");
    nimport::tests::RemoveVariable("NIMPORT_DRIVES");
  }

  // The result code of an export, called by such a host.
  template <typename Function, typename... Arguments>
  ResultCode Call(const char* name, Arguments... arguments) const {
    Function* const function = Find<Function>(*library_, name);
    return CallAsOddHost([&] { return function(arguments...); });
  }
  void Load() {
    library_ = CallAsOddHost([] { return std::make_unique<LoadedLibrary>(LIBRARY); });
  }

  std::unique_ptr<LoadedLibrary> library_;

 private:
  nimport::tests::TestDirectory directory_;
};

#define CALL(function, ...) Call<decltype(function)>(#function, __VA_ARGS__)

TEST_F(OddHost, KeepsItsArithmeticAndLocale) {
  const std::string localeBefore = std::setlocale(LC_ALL, nullptr);
  Load();
  std::int32_t count = 0;
  HandleNode* session = nullptr;
  HandleNode* user = nullptr;
  HandleNode* cabinet = nullptr;
  HandleNode* folder = nullptr;
  ASSERT_EQ(CALL(ML_Initialize, &session), RESULT_OK);
  EXPECT_EQ(CALL(ML_GetUserCount, session, &count), RESULT_OK);
  EXPECT_EQ(CALL(ML_GetUser, session, 0, &user), RESULT_OK);
  EXPECT_EQ(CALL(ML_GetChildFolder, session, user, 0, &cabinet), RESULT_OK);
  EXPECT_EQ(CALL(ML_GetChildFolder, session, cabinet, 0, &folder), RESULT_OK);
  EXPECT_EQ(CALL(ML_OpenMailDataFile, session, folder), RESULT_OK);
  EXPECT_EQ(CALL(ML_GetMailCount, session, folder, &count), RESULT_OK);
  // Dates are stored as numbers of days with fractions: single precision would lose minutes.
  std::int32_t first = 0;
  std::int32_t second = 0;
  EXPECT_EQ(CALL(ML_GetMailDate, session, folder, 0, &first), RESULT_OK);
  EXPECT_EQ(CALL(ML_GetMailDate, session, folder, 1, &second), RESULT_OK);
  EXPECT_EQ(second - first, (33 * 60 + 20) * 60) << "from 9:00 to 18:20 of the next day";
  ResultString path{nullptr, ENCODING_UTF16, 0, nullptr};
  EXPECT_EQ(CALL(ML_GetMailBodyPath, session, folder, 0, 0, &path), RESULT_OK);
  path.release(path.buffer);
  EXPECT_EQ(CALL(ML_GetMailDate, session, folder, 0, nullptr), RESULT_INVALID) << "a failure, too";
  EXPECT_EQ(CALL(ML_Terminate, session), RESULT_OK);
  CallAsOddHost([&] {
    library_.reset();
    return 0;
  });
  EXPECT_EQ(std::setlocale(LC_ALL, nullptr), localeBefore);
}

}  // namespace
