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

// Makes its stores below a directory of its own; sessions opened meanwhile work on `platform`, with
// the scripted MIME library.
class SessionTest : public testing::Test {
 protected:
  SessionTest() {
    platform.modulesPart = &loader;
    platform::SetPlatformForNewSessions(&platform);
  }
  ~SessionTest() override { platform::SetPlatformForNewSessions(nullptr); }

  // Makes a store and points the platform's settings to it.
  mkstore::Store UseStore(const nlohmann::json& description,
                          const mkstore::StoreOptions& options = {}) {
    const mkstore::Store store =
        mkstore::MakeStore(description, directory.path() / std::to_string(++stores_), options);
    platform.settings["NIMPORT_REGISTRY"] = store.RegistryVariable();
    platform.settings["NIMPORT_DRIVES"] = store.DrivesVariable();
    platform.registryPart = &platform.system().registry();
    return store;
  }

  // The reason that was reported last.
  [[nodiscard]] std::string LastReason() const {
    return platform.recorder.records.empty() ? "" : platform.recorder.records.back().reason;
  }

  tests::TestDirectory directory;
  tests::FakePlatform platform;
  tests::ScriptedWexmailLoader loader;
  tests::ScriptedWexmail wexmail;

 private:
  int stores_ = 0;
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
