// Every allocation of every export fails once. All memory of this program comes from the operators
// below; the exports' own buffers come from calloc, which the linker sends here.
#include <algorithm>
#include <cstdlib>
#include <functional>
#include <new>
#include <string>
#include <vector>

#include "plugin/demo_fixture.h"

namespace {

// Allocations that failingAllocation counts down to; 0 is none.
int failingAllocation = 0;
bool hasFailed = false;
bool isOn = false;
long live = 0;

bool Fails() {
  if (!isOn || failingAllocation == 0 || --failingAllocation > 0) return false;
  hasFailed = true;
  return true;
}

}  // namespace

void* operator new(std::size_t size) {
  void* const memory = Fails() ? nullptr : std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) throw std::bad_alloc();
  ++live;
  return memory;
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  try {
    return operator new(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
void operator delete(void* memory) noexcept {
  if (memory != nullptr) --live;
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  operator delete(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
  operator delete(memory);
}

extern "C" {
void* __real_calloc(std::size_t count, std::size_t size);
void* __wrap_calloc(std::size_t count, std::size_t size) {
  return Fails() ? nullptr : __real_calloc(count, size);
}
}

namespace nimport::test {
namespace {

class AllocationGate final : public FaultGate {
 public:
  void Enter() override { isOn = true; }
  void Leave() override { isOn = false; }
  void FailNth(int nth) override {
    failingAllocation = nth;
    hasFailed = false;
  }
  [[nodiscard]] bool HasFailed() const override { return hasFailed; }
};

// What an export may answer when there is no memory: -1; -2 where a file is read in one piece; -3
// where it is the MIME library that has none for a header field.
bool IsAnswerWithoutMemory(const std::string& name, ResultCode code) {
  static constexpr const char* OF_HEADER[] = {"ML_GetMailSubject", "ML_GetMailFrom", "ML_GetMailTo",
                                              "ML_GetMailMessageID", "ML_GetMailDate"};
  return code == RESULT_NO_MEMORY || code == RESULT_DATABASE ||
         (code == RESULT_INVALID && std::ranges::find(OF_HEADER, name) != std::end(OF_HEADER));
}

class MemoryFaultTest : public DemoTest {
 protected:
  AllocationGate gate;
};

TEST_F(MemoryFaultTest, EveryCallOnEveryMailRecovers) {
  UseSample("demo-ja.json");
  const auto forEachCall = [&](const std::function<void(const ExportCall&)>& visit) {
    OpenedStore store(gate);
    ASSERT_EQ(store.Open(), RESULT_OK);
    const auto visitAll = [&](const std::vector<ExportCall>& calls) {
      std::ranges::for_each(calls, visit);
    };
    ASSERT_EQ(store.VisitCalls(visitAll), RESULT_OK);
  };
  // What stays behind after the first time is the process's own, such as tables of code pages.
  forEachCall([](const ExportCall& call) { (void)call.make(); });
  const long liveBefore = live;
  int failures = 0;
  forEachCall([&](const ExportCall& call) {
    failures +=
        Sweep(gate, call, [&](ResultCode code) { return IsAnswerWithoutMemory(call.name, code); });
  });
  EXPECT_EQ(live, liveBefore) << "pieces of memory";
  EXPECT_GT(failures, 1000);
  RecordProperty("failures", failures);
}

// From the start of a session to the opened folders, with nothing in memory yet.
TEST_F(MemoryFaultTest, FreshSessionFailsCleanly) {
  UseSample("hello-en.json");
  bool wasFailed = true;
  for (int nth = 0; wasFailed; ++nth) {
    const long liveBefore = live;
    {
      OpenedStore store(gate);
      gate.FailNth(nth);
      ResultCode code = store.Open();
      if (code == RESULT_OK) code = store.VisitCalls([](const std::vector<ExportCall>&) {});
      wasFailed = nth == 0 || hasFailed;
      gate.FailNth(0);
      EXPECT_TRUE(code == RESULT_OK || (wasFailed && code < 0)) << "allocation " << nth << code;
    }
    // The first time fills what is the process's own.
    if (nth > 0) {
      EXPECT_EQ(live, liveBefore) << "pieces of memory after allocation " << nth;
    }
  }
}

}  // namespace
}  // namespace nimport::test
