#include <chrono>
#include <csignal>
#include <random>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <unistd.h>

#include "host/store.h"
#include "host/tool.h"

namespace nimport::tests {
namespace {

namespace fs = std::filesystem;

// Mails as they lie at the end, without what an interrupted run may leave under other names.
std::map<std::string, std::string> FinishedFiles(const fs::path& directory) {
  auto files = ReadTree(directory);
  std::erase_if(files, [](const auto& entry) {
    const fs::path path = entry.first;
    return path.filename() == "account.json" || path.filename().string().starts_with('.') ||
           path.parent_path().filename() == "tmp";
  });
  return files;
}

// Everything but the account, which tells what the last run did.
std::map<std::string, std::string> AllFiles(const fs::path& directory) {
  auto files = ReadTree(directory);
  files.erase("account.json");
  return files;
}

class InterruptedExport : public testing::TestWithParam<const char*> {
 protected:
  [[nodiscard]] std::vector<std::string> Command(const std::string& target) const {
    return store_.Command("export", {"--to", Target(target).string(), "--format", GetParam()});
  }
  [[nodiscard]] fs::path Target(const std::string& target) const {
    return store_.directory().path() / target;
  }

  // Two folders; enough mails that an export takes a while.
  TestStore store_{R"({"template": {"mails": 150, "cabinets": 1, "folders": 2}})"};
};

TEST_P(InterruptedExport, LeavesNothingHalfWrittenAndGoesOn) {
  const ToolResult finished = RunProgram(Command("whole"));
  ASSERT_EQ(finished.exitCode, 0) << finished.out << finished.err;
  const auto whole = FinishedFiles(Target("whole"));
  int interrupted = 0;
  // Later and later, until a run comes to its end.
  for (int milliseconds = 2; milliseconds < 60'000; milliseconds = milliseconds * 3 / 2) {
    const int signal = interrupted % 2 == 0 ? SIGKILL : SIGINT;
    // Killed programs leave their temporary directories behind.
    const pid_t process = Start(Command("out"), {{"TMPDIR", store_.directory().str()}});
    usleep(static_cast<useconds_t>(milliseconds) * 1000);
    kill(process, signal);
    if (Wait(process) == 0) break;
    ++interrupted;
    for (const auto& [name, contents] : FinishedFiles(Target("out"))) {
      ASSERT_TRUE(whole.contains(name)) << name;
      // A folder in one file grows by whole mails.
      const bool isBeginning = whole.at(name).starts_with(contents);
      EXPECT_TRUE(std::string(GetParam()) == "mbox" ? isBeginning : whole.at(name) == contents)
          << name;
    }
  }
  EXPECT_GT(interrupted, 0);
  EXPECT_EQ(RunProgram(Command("out")).exitCode, 0);
  EXPECT_EQ(FinishedFiles(Target("out")), whole);
}

TEST_P(InterruptedExport, EndsAsIfItHadNeverBeenKilled) {
  const auto store = ReadTree(store_.store().root);
  const auto begin = std::chrono::steady_clock::now();
  ASSERT_EQ(RunProgram(Command("whole")).exitCode, 0);
  std::chrono::duration<double> duration = std::chrono::steady_clock::now() - begin;
  const auto whole = AllFiles(Target("whole"));
  std::mt19937 random(20);
  constexpr int TIMES = 34;  // a hundred, over the formats
  for (int killed = 0; killed < TIMES;) {
    // Killed programs leave their temporary directories behind.
    const pid_t process = Start(Command("out"), {{"TMPDIR", store_.directory().str()}});
    const auto moment = duration * (static_cast<double>(random()) / std::mt19937::max());
    std::this_thread::sleep_for(moment);
    kill(process, SIGKILL);
    if (Wait(process) != 0) {
      ++killed;
    } else {
      duration *= 0.9;  // the run to measure it was a slow one
    }
    ASSERT_EQ(RunProgram(Command("out")).exitCode, 0);
    ASSERT_EQ(AllFiles(Target("out")), whole) << "killed after " << moment.count() << " s";
    fs::remove_all(Target("out"));
  }
  EXPECT_EQ(ReadTree(store_.store().root), store);
}

INSTANTIATE_TEST_SUITE_P(Formats, InterruptedExport, testing::Values("maildir", "mbox", "eml"),
                         [](const auto& instance) { return std::string(instance.param); });

}  // namespace
}  // namespace nimport::tests
