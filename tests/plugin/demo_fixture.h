#ifndef NIMPORT_TESTS_INTERFACE_DEMO_FIXTURE_H_
#define NIMPORT_TESTS_INTERFACE_DEMO_FIXTURE_H_

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "common/fake_platform.h"
#include "common/test_directory.h"
#include "mkstore/store_writer.h"
#include "platform/platform.h"
#include "plugin/export_calls.h"
#include "plugin/mail_fixture.h"

namespace nimport::test {

// Keeps nothing, so that it needs no memory.
class SilentDiagnostics final : public platform::DiagnosticsSink {
 public:
  [[nodiscard]] bool IsOn() const override { return false; }
  void Report(const platform::FailureRecord&) noexcept override {}
};

// Sessions on the demo store, with the real MIME library and temporary files in a directory of the
// test's own, which must be empty in the end.
class DemoTest : public testing::Test {
 protected:
  DemoTest() {
    std::filesystem::create_directory(directory_.path() / "tmp");
    platform.settings["TMPDIR"] = directory_.str() + "/tmp";
    platform.settings["TMP"] = directory_.str() + "/tmp";
    platform.modulesPart = &loader_;
    platform.diagnosticsPart = &silent_;
    platform.registryPart = &platform.system().registry();
    platform::SetPlatformForNewSessions(&platform);
  }
  ~DemoTest() override {
    platform::SetPlatformForNewSessions(nullptr);
    std::error_code error;
    EXPECT_TRUE(std::filesystem::is_empty(directory_.path() / "tmp", error)) << "temporary files";
  }

  mkstore::Store UseStore(const std::string& sample) {
    std::ifstream file(NIMPORT_SOURCE_DIR "/samples/" + sample);
    mkstore::Store store =
        mkstore::MakeStore(nlohmann::json::parse(file), directory_.path() / "store");
    platform.settings["NIMPORT_REGISTRY"] = store.RegistryVariable();
    platform.settings["NIMPORT_DRIVES"] = store.DrivesVariable();
    return store;
  }

  std::unique_ptr<OpenedStore> MakeStoreObject(FaultGate& gate) {
    return std::make_unique<OpenedStore>(
        gate, [](const std::string& path) { return ReadFile(NativePath(path)); });
  }

  tests::FakePlatform platform;

 private:
  tests::TestDirectory directory_;
  WexmailLoader loader_;
  SilentDiagnostics silent_;
};

}  // namespace nimport::test

#endif  // NIMPORT_TESTS_INTERFACE_DEMO_FIXTURE_H_
