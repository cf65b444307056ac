// Sessions on stores made for the test, on a platform that the test can break.
#ifndef NIMPORT_TESTS_INTERFACE_SESSION_FIXTURE_H_
#define NIMPORT_TESTS_INTERFACE_SESSION_FIXTURE_H_

#include <filesystem>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "common/fake_platform.h"
#include "common/test_directory.h"
#include "fixtures/scripted_wexmail/scripted_wexmail.h"
#include "mkstore/store_writer.h"
#include "platform/platform.h"
#include "plugin/plug_in.h"

namespace nimport::test {

// Sessions opened meanwhile work on `platform`. Stores are made below a directory of the test's
// own, and so are temporary files, of which none may be left in the end.
class PlatformTest : public testing::Test {
 protected:
  PlatformTest() {
    std::filesystem::create_directory(directory.path() / "tmp");
    platform.settings["TMPDIR"] = directory.str() + "/tmp";
    platform.settings["TMP"] = directory.str() + "/tmp";
    platform::SetPlatformForNewSessions(&platform);
  }
  ~PlatformTest() override {
    platform::SetPlatformForNewSessions(nullptr);
    std::error_code error;
    EXPECT_TRUE(std::filesystem::is_empty(directory.path() / "tmp", error)) << "temporary files";
  }

  // Makes a store and points the platform's settings to it.
  mkstore::Store UseStore(const nlohmann::json& description,
                          const mkstore::StoreOptions& options = {}) {
    const mkstore::Store store =
        mkstore::MakeStore(description, directory.path() / std::to_string(++stores_), options);
    platform.settings["NIMPORT_REGISTRY"] = store.RegistryVariable();
    platform.settings["NIMPORT_DRIVES"] = store.DrivesVariable();
    return store;
  }

  // The reason that was reported last.
  [[nodiscard]] std::string LastReason() const {
    return platform.recorder.records.empty() ? "" : platform.recorder.records.back().reason;
  }

  tests::TestDirectory directory;
  tests::FakePlatform platform;

 private:
  int stores_ = 0;
};

// With the scripted MIME library.
class SessionTest : public PlatformTest {
 protected:
  SessionTest() { platform.modulesPart = &loader; }

  tests::ScriptedWexmailLoader loader;
  tests::ScriptedWexmail wexmail;
};

// A store with one folder that holds `mails`.
inline nlohmann::json StoreWithMails(nlohmann::json mails) {
  return {{"cabinets",
           {{{"number", 1},
             {"name", "Cabinet"},
             {"folders", {{{"number", 1}, {"name", "Folder"}, {"mails", std::move(mails)}}}}}}}};
}

}  // namespace nimport::test

#endif  // NIMPORT_TESTS_INTERFACE_SESSION_FIXTURE_H_
