// Damages stores in many ways and looks at what can still be read of them.
//
//   mutate COUNT [--seed S] [--first N] [--work DIR] [--results FILE] [--batch B] [--keep]
//
// Exit code 1 when a mutant crashed, hung, lost memory, touched something outside the target, or
// lost mails without a word.
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

#include <CLI/CLI.hpp>
#include <gmime/gmime.h>
#include <unistd.h>

#include "mutation/batches.h"
#include "mutation/report.h"

namespace {

using namespace nimport::mutation;
namespace fs = std::filesystem;

struct Arguments {
  std::uint64_t count = 1000;
  std::uint64_t first = 0;
  fs::path results;
  bool isKeeping = false;
  BatchOptions batches;
};

void AddOptions(CLI::App& app, Arguments& arguments) {
  app.add_option("COUNT", arguments.count, "Number of mutants");
  app.add_option("--seed", arguments.batches.seed, "Seed of all mutants");
  app.add_option("--first", arguments.first, "Number of the first mutant");
  app.add_option("--batch", arguments.batches.batch, "Mutants in one process");
  app.add_option("--work", arguments.batches.workDirectory, "Directory to work in; emptied");
  app.add_option("--results", arguments.results, "A line of JSON per mutant goes here");
  app.add_option("--logs", arguments.batches.logs, "Directory for what failing processes say");
  app.add_flag("--keep", arguments.isKeeping, "Leave the last damaged store as it is");
}

void WriteResult(std::ostream& out, const Mutant& mutant, const Finding& finding,
                 const std::string& store) {
  nlohmann::json line = finding.result.ToJson();
  line["number"] = mutant.number;
  line["ending"] = static_cast<int>(finding.ending);
  line["store"] = store;
  line["damage"] = NameOf(mutant.damage);
  line["file"] = mutant.file;
  line["place"] = mutant.place;
  line["description"] = mutant.description;
  out << line.dump() << '\n' << std::flush;
}

int Run(Arguments& arguments) {
  BatchOptions& batches = arguments.batches;
  if (batches.workDirectory.empty()) {
    batches.workDirectory = fs::temp_directory_path() / ("mutate-" + std::to_string(getpid()));
  }
  if (batches.logs.empty()) batches.logs = fs::current_path() / "mutate-logs";
  std::ofstream results;
  if (!arguments.results.empty()) results.open(arguments.results);

  Laboratory laboratory(batches.workDirectory);
  Report report;
  std::cout << "seed " << batches.seed << ", mutants " << arguments.first << " to "
            << arguments.first + arguments.count - 1 << "\n\n";
  RunBatches(laboratory, batches, arguments.first, arguments.first + arguments.count,
             [&](const Finding& finding) {
               const Mutant mutant = MakeMutant(laboratory.stores(), batches.seed, finding.number);
               report.Add(mutant, finding);
               if (results.is_open()) {
                 WriteResult(results, mutant, finding, laboratory.stores()[mutant.store].name);
               }
             });
  report.Print(std::cout);
  if (arguments.isKeeping && arguments.count == 1) {
    laboratory.Leave(MakeMutant(laboratory.stores(), batches.seed, arguments.first));
  } else {
    fs::remove_all(batches.workDirectory);
  }
  return report.HasFailures() ? 1 : 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    Arguments arguments;
    CLI::App app("Damages stores in many ways and looks at what can still be read of them.");
    AddOptions(app, arguments);
    CLI11_PARSE(app, argc, argv);
    return Run(arguments);
  } catch (const std::exception& error) {
    std::cerr << "mutate: " << error.what() << '\n';
    return 2;
  }
}
