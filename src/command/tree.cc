// nimport tree: the cabinets and folders.
#include <iomanip>
#include <iostream>

#include <nlohmann/json.hpp>

#include "archive/store_folders.h"
#include "command/commands.h"
#include "command/json_text.h"
#include "command/losses.h"
#include "platform/interruption.h"
#include "store/store.h"
#include "text/visible.h"

namespace nimport::command {

namespace {

using nlohmann::ordered_json;

ordered_json DescribeFolder(store::Store& store, const store::Folder& folder, std::size_t index,
                            int& exitCode) {
  ordered_json json = {{"index", index}, {"name", folder.name}};
  try {
    json["mails"] = store.Open(folder).mailCount();
  } catch (const store::Error& error) {
    json["error"] = error.reason();
    exitCode = EXIT_SOME_FAILED;
  }
  return json;
}

void Print(const ordered_json& tree) {
  for (const ordered_json& cabinet : tree["cabinets"]) {
    std::cout << text::Visible(cabinet["name"].get<std::string>()) << '\n';
    for (const ordered_json& folder : cabinet["folders"]) {
      std::cout << std::setw(5) << folder["index"].get<std::size_t>() << "  "
                << text::Visible(folder["name"].get<std::string>());
      if (folder.contains("error")) {
        std::cout << "  (cannot be read: " << text::Visible(folder["error"].get<std::string>())
                  << ")\n";
      } else {
        std::cout << "  (" << folder["mails"] << " mails)\n";
      }
    }
  }
}

}  // namespace

int RunTree(StorePlatform& platform, const Options& options) {
  const platform::Interruption::Pause pause;  // there is no report
  store::Store store(platform, {.interruption = &platform::Interruption::Flag()});
  int exitCode = EXIT_ALL_DONE;
  ordered_json tree = {{"account", nullptr}, {"cabinets", ordered_json::array()}};
  if (!store.memberId().empty()) tree["account"] = store.memberId();
  std::size_t index = 0;
  for (const store::Cabinet& cabinet : store.cabinets()) {
    ordered_json folders = ordered_json::array();
    for (const store::Folder& folder : cabinet.folders) {
      folders.push_back(DescribeFolder(store, folder, index++, exitCode));
    }
    tree["cabinets"].push_back({{"name", cabinet.name}, {"folders", folders}});
  }
  if (options.isJson) {
    std::cout << ToText(tree);
  } else {
    Print(tree);
  }
  if (PrintLosses(store.TakeLosses())) exitCode = EXIT_SOME_FAILED;
  if (store.failedListing().empty()) return exitCode;
  std::cerr << "nimport: the list of folders is not complete: "
            << text::Visible(store.failedListing()) << '\n';
  return EXIT_SOME_FAILED;
}

}  // namespace nimport::command
