#ifndef NIMPORT_TESTS_INTERFACE_DEMO_FIXTURE_H_
#define NIMPORT_TESTS_INTERFACE_DEMO_FIXTURE_H_

#include <fstream>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "plugin/export_calls.h"
#include "plugin/mail_fixture.h"

namespace nimport::test {

// Keeps nothing, so that it needs no memory.
class SilentDiagnostics final : public platform::DiagnosticsSink {
 public:
  [[nodiscard]] bool IsOn() const override { return false; }
  void Report(const platform::FailureRecord&) noexcept override {}
};

// Sessions on sample stores, with the real MIME library.
class DemoTest : public PlatformTest {
 protected:
  DemoTest() {
    platform.modulesPart = &loader_;
    platform.diagnosticsPart = &silent_;
  }

  mkstore::Store UseSample(const std::string& sample) {
    std::ifstream file(NIMPORT_SOURCE_DIR "/samples/" + sample);
    return UseStore(nlohmann::json::parse(file));
  }

  // Makes the call once for every operation that can fail in it, failing that one: it answers as
  // ever or with a code that `isAllowed`, and as ever the next time. Returns the operations'
  // number.
  template <typename IsAllowed>
  static int Sweep(FaultGate& gate, const ExportCall& call, IsAllowed isAllowed) {
    const TextAnswer wanted = call.make();
    for (int nth = 1;; ++nth) {
      gate.FailNth(nth);
      const TextAnswer answer = call.make();
      const bool hasFailed = gate.HasFailed();
      gate.FailNth(0);
      EXPECT_TRUE(answer == wanted || (hasFailed && isAllowed(answer.code)))
          << call.name << ", operation " << nth << ": " << answer;
      if (!hasFailed) return nth - 1;
      const TextAnswer again = call.make();
      EXPECT_EQ(again, wanted) << call.name << " after operation " << nth << " had failed";
      if (again != wanted) return nth;
    }
  }

 private:
  WexmailLoader loader_;
  SilentDiagnostics silent_;
};

}  // namespace nimport::test

#endif  // NIMPORT_TESTS_INTERFACE_DEMO_FIXTURE_H_
