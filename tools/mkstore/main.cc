// mkstore: makes a store of the mail client from a description.
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "common/utf8_path.h"
#include "mkstore/store_writer.h"
#include "platform/terminal.h"

namespace {

using nimport::mkstore::JetVersion;
using nimport::mkstore::RegistryForm;
using nimport::mkstore::StoreOptions;

struct Arguments {
  std::string description;
  std::string folder;
  StoreOptions options;
};

void Define(CLI::App& app, Arguments& arguments) {
  app.add_option("DESCRIPTION", arguments.description, "what the store holds, a JSON file")
      ->required();
  app.add_option("OUTDIR", arguments.folder, "folder to make the store in")->required();
  app.add_option("--format", arguments.options.format, "version of the databases (default jet3)")
      ->transform(CLI::CheckedTransformer(std::map<std::string, JetVersion>{
          {"jet3", JetVersion::Jet3}, {"jet4", JetVersion::Jet4}}));
  app.add_option("--registry", arguments.options.registry,
                 "form of the registry file (default regedit4)")
      ->transform(CLI::CheckedTransformer(
          std::map<std::string, RegistryForm>{{"regedit4", RegistryForm::Regedit4},
                                              {"unicode", RegistryForm::Unicode},
                                              {"utf8", RegistryForm::Utf8},
                                              {"wine", RegistryForm::Wine}}));
  app.add_option("--scale", arguments.options.scale,
                 "mails to make from the description's template");
  app.add_option("--encode", arguments.options.encodingKey,
                 "encode the databases' pages with this number (0x... for hexadecimal)");
  app.footer("Example:\n  mkstore samples/demo-ja.json /tmp/demo --format jet4");
}

void Run(const Arguments& arguments) {
  std::ifstream file{nimport::PathFromUtf8(arguments.description)};
  if (!file) throw std::runtime_error("cannot be opened");
  const auto description = nlohmann::json::parse(file, nullptr, true, /*ignore_comments=*/true);
  const nimport::mkstore::Store store = nimport::mkstore::MakeStore(
      description, nimport::PathFromUtf8(arguments.folder), arguments.options);
  std::cout << "NIMPORT_REGISTRY=" << store.RegistryVariable() << "\n"
            << "NIMPORT_DRIVES=" << store.DrivesVariable() << "\n";
}

}  // namespace

int main(int argc, char** argv) {
  const nimport::platform::StandardStreams streams;
  const std::vector<std::string> given = nimport::platform::ReadArguments(argc, argv);
  CLI::App app("Makes a store of the mail client from a description.", "mkstore");
  Arguments arguments;
  Define(app, arguments);
  try {
    // Without the program, last one first.
    app.parse(std::vector<std::string>(given.rbegin(), given.rend() - 1));
  } catch (const CLI::ParseError& error) {
    return app.exit(error);
  }
  try {
    Run(arguments);
  } catch (const std::exception& error) {
    std::cerr << "mkstore: " << arguments.description << ": " << error.what() << "\n";
    return 1;
  }
  return 0;
}
