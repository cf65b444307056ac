// Every operation on files that an export makes fails once.
#include "plugin/demo_fixture.h"

namespace nimport::test {
namespace {

using tests::FileOperation;

constexpr FileOperation OPERATIONS[] = {FileOperation::OpenForReading, FileOperation::Read,
                                        FileOperation::OpenForWriting, FileOperation::Write,
                                        FileOperation::Close};

// Faults count operations inside exports only; the test's own reading is none.
class FileGate final : public FaultGate {
 public:
  explicit FileGate(tests::FileFaults& faults) : faults_(faults) {}

  FileOperation operation{};

  void FailNth(int nth) override {
    left_ = nth;
    failed_ = false;
  }
  void Enter() override {
    if (left_ <= 0) return;
    before_ = faults_.Count(operation);
    faults_.FailNth(operation, left_);
  }
  void Leave() override {
    if (left_ <= 0) return;
    const int made = faults_.Count(operation) - before_;
    failed_ = failed_ || made >= left_;
    left_ -= made;
    faults_.Clear();
  }
  [[nodiscard]] bool HasFailed() const override { return failed_; }

 private:
  tests::FileFaults& faults_;
  int left_ = 0;
  int before_ = 0;
  bool failed_ = false;
};

class FileFaultTest : public DemoTest {
 protected:
  FileGate gate{platform.faultyFiles.faults};
};

TEST_F(FileFaultTest, EveryCallOnEveryMailRecovers) {
  UseSample("demo-ja.json");
  OpenedStore store(gate);
  ASSERT_EQ(store.Open(), RESULT_OK);
  int failures = 0;
  const auto isAllowed = [](ResultCode code) {
    return code == RESULT_DATABASE || code == RESULT_INVALID;
  };
  const auto sweep = [&](const std::vector<ExportCall>& calls) {
    for (const ExportCall& call : calls) {
      for (const FileOperation operation : OPERATIONS) {
        gate.operation = operation;
        failures += Sweep(gate, call, isAllowed);
      }
    }
  };
  ASSERT_EQ(store.VisitCalls(sweep), RESULT_OK);
  EXPECT_GT(failures, 100);
  RecordProperty("failures", failures);
}

// From the start of a session to the last mail's answers, with nothing in memory yet.
TEST_F(FileFaultTest, FreshSessionFailsCleanly) {
  UseSample("hello-en.json");
  for (const FileOperation operation : OPERATIONS) {
    gate.operation = operation;
    bool hasFailed = true;
    for (int nth = 1; hasFailed; ++nth) {
      gate.FailNth(nth);
      OpenedStore store(gate);
      ResultCode code = store.Open();
      if (code == RESULT_OK) {
        code = store.VisitCalls([](const std::vector<ExportCall>& calls) {
          for (const ExportCall& call : calls)
            (void)call.make();
        });
      }
      hasFailed = gate.HasFailed();
      gate.FailNth(0);
      SCOPED_TRACE(std::to_string(static_cast<int>(operation)) + " " + std::to_string(nth));
      EXPECT_TRUE(code == RESULT_OK || (hasFailed && code < 0));
      if (code != RESULT_OK) {
        EXPECT_EQ(OpenedStore(gate).Open(), RESULT_OK);
      }
    }
  }
}

}  // namespace
}  // namespace nimport::test
