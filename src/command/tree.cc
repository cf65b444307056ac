// nimport tree: the cabinets and folders.
#include <iomanip>
#include <iostream>

#include <nlohmann/json.hpp>

#include "archive/store_folders.h"
#include "command/commands.h"
#include "command/json_text.h"
#include "command/losses.h"
#include "command/visible.h"
#include "host/result_error.h"
#include "host/session.h"

namespace nimport::command {

namespace {

using nlohmann::ordered_json;

ordered_json DescribeFolder(const host::Folder& folder, std::size_t index, int& exitCode) {
  ordered_json json = {{"index", index}, {"name", folder.name()}};
  try {
    json["mails"] = host::OpenFolder(folder).mailCount();
  } catch (const host::ResultError& error) {
    json["error"] = error.reason();
    exitCode = EXIT_SOME_FAILED;
  }
  return json;
}

void Print(const ordered_json& tree) {
  for (const ordered_json& cabinet : tree["cabinets"]) {
    std::cout << Visible(cabinet["name"].get<std::string>()) << '\n';
    for (const ordered_json& folder : cabinet["folders"]) {
      std::cout << std::setw(5) << folder["index"].get<std::size_t>() << "  "
                << Visible(folder["name"].get<std::string>());
      if (folder.contains("error")) {
        std::cout << "  (cannot be read: " << Visible(folder["error"].get<std::string>()) << ")\n";
      } else {
        std::cout << "  (" << folder["mails"] << " mails)\n";
      }
    }
  }
}

}  // namespace

int RunTree(const host::Library& library, const Options& options) {
  const host::MailSession session(library);
  int exitCode = EXIT_ALL_DONE;
  ordered_json tree = {{"account", session.accountName()}, {"cabinets", ordered_json::array()}};
  std::size_t index = 0;
  for (const host::Cabinet& cabinet : session.cabinets()) {
    ordered_json folders = ordered_json::array();
    for (const host::Folder& folder : cabinet.folders) {
      folders.push_back(DescribeFolder(folder, index++, exitCode));
    }
    tree["cabinets"].push_back({{"name", cabinet.name}, {"folders", folders}});
  }
  if (options.isJson) {
    std::cout << ToText(tree);
  } else {
    Print(tree);
  }
  if (PrintLosses(library)) exitCode = EXIT_SOME_FAILED;
  if (session.failedListing().empty()) return exitCode;
  std::cerr << "nimport: the list of folders is not complete: " << Visible(session.failedListing())
            << '\n';
  return EXIT_SOME_FAILED;
}

}  // namespace nimport::command
