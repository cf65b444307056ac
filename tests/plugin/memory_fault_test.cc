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
long failingAllocation = 0;
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
  // The `nth` allocation inside the exports from now on fails; 0: none does.
  void FailNth(long nth) {
    failingAllocation = nth;
    hasFailed = false;
  }
  void Enter() override { isOn = true; }
  void Leave() override { isOn = false; }
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
  // Makes the call once for every allocation that it makes, failing that one. Returns their number.
  long Sweep(const ExportCall& call) {
    gate.FailNth(0);
    const Answer wanted = call.make();
    for (long nth = 1;; ++nth) {
      gate.FailNth(nth);
      const Answer answer = call.make();
      const bool wasFailed = hasFailed;
      gate.FailNth(0);
      if (!wasFailed) {
        EXPECT_EQ(answer, wanted) << call.name;
        return nth - 1;
      }
      EXPECT_TRUE(answer == wanted || IsAnswerWithoutMemory(call.name, answer.code))
          << call.name << ", allocation " << nth << ": " << answer;
      const Answer again = call.make();
      EXPECT_EQ(again, wanted) << call.name << " after allocation " << nth << " had failed";
      if (again != wanted) return nth;
    }
  }

  AllocationGate gate;
};

TEST_F(MemoryFaultTest, EveryCallOnEveryMailRecovers) {
  UseStore("demo-ja.json");
  const auto forEachCall = [&](const std::function<void(const ExportCall&)>& visit) {
    const auto store = MakeStoreObject(gate);
    ASSERT_EQ(store->Open(), RESULT_OK);
    const auto visitAll = [&](const std::vector<ExportCall>& calls) {
      std::ranges::for_each(calls, visit);
    };
    ASSERT_EQ(store->ForEachFolder([&](HandleNode* folder, std::int32_t mails) {
      for (std::int32_t mail = 0; mail < mails; ++mail)
        visitAll(store->CallsOnMail(folder, mail));
    }),
              RESULT_OK);
    visitAll(store->CallsOnHandles());
  };
  // What stays behind after the first time is the process's own, such as tables of code pages.
  gate.FailNth(0);
  forEachCall([](const ExportCall& call) { (void)call.make(); });
  const long liveBefore = live;
  long failures = 0;
  forEachCall([&](const ExportCall& call) { failures += Sweep(call); });
  EXPECT_EQ(live, liveBefore) << "pieces of memory";
  EXPECT_GT(failures, 1000);
  RecordProperty("failures", static_cast<int>(failures));
}

// From the start of a session to the first mail's answers, with nothing in memory yet.
TEST_F(MemoryFaultTest, FreshSessionFailsCleanly) {
  UseStore("hello-en.json");
  bool wasFailed = true;
  for (long nth = 0; wasFailed; ++nth) {
    const long liveBefore = live;
    {
      const auto store = MakeStoreObject(gate);
      gate.FailNth(nth);
      ResultCode code = store->Open();
      if (code == RESULT_OK) code = store->ForEachFolder([](HandleNode*, std::int32_t) {});
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
