// Sessions in several threads at once.
#include <algorithm>
#include <thread>
#include <vector>

#include "plugin/demo_fixture.h"

namespace nimport::test {
namespace {

class ThreadsTest : public DemoTest {
 protected:
  ThreadsTest() {
    UseStore("demo-ja.json");
    // The faulty file system counts, and does so for one thread.
    platform.filesPart = &platform.system().files();
  }

  // Everything that a mail session and an address-book session answer, in their order.
  std::vector<Answer> AskEverything() {
    FaultGate noFaults;
    const auto store = MakeStoreObject(noFaults);
    std::vector<Answer> answers{{store->Open(), ""}};
    const auto ask = [&](const std::vector<ExportCall>& calls) {
      for (const ExportCall& call : calls)
        answers.push_back(call.make());
    };
    store->ForEachFolder([&](HandleNode* folder, std::int32_t mails) {
      for (std::int32_t mail = 0; mail < mails; ++mail)
        ask(store->CallsOnMail(folder, mail));
    });
    ask(store->CallsOnHandles());
    return answers;
  }
};

TEST_F(ThreadsTest, SessionsDoNotDisturbEachOther) {
  constexpr std::size_t THREADS = 4;
  constexpr int ROUNDS = 3;
  const std::vector<Answer> wanted = AskEverything();
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
