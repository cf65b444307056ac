// Every operation on files that an export makes fails once.
#include "plugin/demo_fixture.h"

namespace nimport::test {
namespace {

using tests::FileOperation;

struct Operation {
  FileOperation operation;
  const char* name;
};
constexpr Operation OPERATIONS[] = {{FileOperation::OpenForReading, "open"},
                                    {FileOperation::Read, "read"},
                                    {FileOperation::OpenForWriting, "create"},
                                    {FileOperation::Write, "write"},
                                    {FileOperation::Close, "close"}};

// Faults count operations inside exports only; the test's own reading is none.
class FileGate final : public FaultGate {
 public:
  explicit FileGate(tests::FileFaults& faults) : faults_(faults) {}
  void FailNth(FileOperation operation, int nth) {
    operation_ = operation;
    left_ = nth;
    failed_ = false;
  }
  void Enter() override {
    if (left_ <= 0) return;
    before_ = faults_.Count(operation_);
    faults_.FailNth(operation_, left_);
  }
  void Leave() override {
    if (left_ <= 0) return;
    const int made = faults_.Count(operation_) - before_;
    failed_ = failed_ || made >= left_;
    left_ -= made;
    faults_.Clear();
  }
  [[nodiscard]] bool HasFailed() const { return failed_; }

 private:
  tests::FileFaults& faults_;
  FileOperation operation_{};
  int left_ = 0;
  int before_ = 0;
  bool failed_ = false;
};

class FileFaultTest : public DemoTest {
 protected:
  // Makes the call once for every such operation that it makes, failing that one. Returns their
  // number.
  int Sweep(const ExportCall& call, const Operation& operation) {
    const Answer wanted = call.make();
    for (int nth = 1;; ++nth) {
      gate.FailNth(operation.operation, nth);
      const Answer answer = call.make();
      const bool hasFailed = gate.HasFailed();
      gate.FailNth(operation.operation, 0);
      if (!hasFailed) return nth - 1;
      EXPECT_TRUE(answer == wanted || answer.code == RESULT_DATABASE ||
                  answer.code == RESULT_INVALID)
          << call.name << ", " << operation.name << " " << nth << ": " << answer;
      const Answer again = call.make();
      EXPECT_EQ(again, wanted) << call.name << " after " << operation.name << " " << nth
                               << " had failed";
      if (again != wanted) return nth;
    }
  }

  FileGate gate{platform.faultyFiles.faults};
};

TEST_F(FileFaultTest, EveryCallOnEveryMailRecovers) {
  UseStore("demo-ja.json");
  const auto store = MakeStoreObject(gate);
  ASSERT_EQ(store->Open(), RESULT_OK);
  int failures = 0;
  ASSERT_EQ(store->ForEachFolder([&](HandleNode* folder, std::int32_t mails) {
    for (std::int32_t mail = 0; mail < mails; ++mail) {
      for (const ExportCall& call : store->CallsOnMail(folder, mail)) {
        for (const Operation& operation : OPERATIONS)
          failures += Sweep(call, operation);
      }
    }
  }),
            RESULT_OK);
  EXPECT_GT(failures, 100);
  RecordProperty("failures", failures);
}

// From the start of a session to the first mail's body, with nothing in memory yet.
TEST_F(FileFaultTest, FreshSessionFailsCleanly) {
  UseStore("hello-en.json");
  for (const Operation& operation : OPERATIONS) {
    bool hasFailed = true;
    for (int nth = 1; hasFailed; ++nth) {
      gate.FailNth(operation.operation, nth);
      const auto store = MakeStoreObject(gate);
      ResultCode code = store->Open();
      if (code == RESULT_OK) {
        code = store->ForEachFolder([&](HandleNode* folder, std::int32_t mails) {
          for (std::int32_t mail = 0; mail < mails; ++mail) {
            for (const ExportCall& call : store->CallsOnMail(folder, mail))
              (void)call.make();
          }
        });
      }
      hasFailed = gate.HasFailed();
      gate.FailNth(operation.operation, 0);
      EXPECT_TRUE(code == RESULT_OK || (hasFailed && code < 0)) << operation.name << " " << nth;
      if (code == RESULT_OK) continue;
      const auto again = MakeStoreObject(gate);
      EXPECT_EQ(again->Open(), RESULT_OK) << operation.name << " " << nth;
    }
  }
}

}  // namespace
}  // namespace nimport::test
