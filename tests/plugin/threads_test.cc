// Sessions in several threads at once.
#include <algorithm>
#include <thread>
#include <vector>

#include "plugin/demo_fixture.h"

namespace nimport::test {
namespace {

// Everything that a mail session and an address-book session answer, in their order.
std::vector<TextAnswer> AskEverything() {
  FaultGate noFaults;
  OpenedStore store(noFaults);
  std::vector<TextAnswer> answers{{store.Open(), ""}};
  store.VisitCalls([&](const std::vector<ExportCall>& calls) {
    for (const ExportCall& call : calls)
      answers.push_back(call.make());
  });
  return answers;
}

using Threads = DemoTest;

TEST_F(Threads, DoNotDisturbEachOther) {
  UseSample("demo-ja.json");
  // The faulty file system counts, and does so for one thread.
  platform.filesPart = &platform.system().files();
  constexpr std::size_t THREADS = 4;
  constexpr int ROUNDS = 3;
  const std::vector<TextAnswer> wanted = AskEverything();
  ASSERT_GT(wanted.size(), 500U);
  std::vector<int> equal(THREADS, 0);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < THREADS; ++i) {
    // Lifetimes overlap in every way: each thread opens and closes as it comes.
    threads.emplace_back([&, i] {
      for (int round = 0; round < ROUNDS; ++round)
        equal[i] += AskEverything() == wanted ? 1 : 0;
    });
  }
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(equal, std::vector<int>(THREADS, ROUNDS));
}

}  // namespace
}  // namespace nimport::test
