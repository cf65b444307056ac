#include "command/store.h"

#include <nlohmann/json.hpp>

#include "command/tool.h"

namespace nimport::tests {

TestStore::TestStore(const std::string& description)
    : store_(mkstore::MakeStore(nlohmann::json::parse(description), directory_.path() / "disk")) {}

std::vector<std::string> TestStore::Command(const std::string& subcommand,
                                            const std::vector<std::string>& more) const {
  std::vector<std::string> command = {
      ToolPath().string(),     subcommand, "--from",  store_.databaseDirectory.string(), "--drive",
      store_.DrivesVariable(), "--member", "QZA00123"};
  command.insert(command.end(), more.begin(), more.end());
  return command;
}

}  // namespace nimport::tests
