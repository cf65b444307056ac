// Damages stores in many ways and looks at what can still be read of them.
//
//   mutate COUNT [--seed S] [--first N] [--work DIR] [--results FILE] [--batch B] [--keep]
//   mutate --flips KIND... [--step N] [--shard I/N] [--work DIR] [--results FILE]
//
// The second form flips every bit of the pages of some kinds, one after the other ("definition",
// "definition, system", "usage maps", "global map", "rows of the catalog", "rows of stored
// queries"), or every Nth of them.
//
// Exit code 1 when a mutant crashed, hung, lost memory, touched something outside the target, or
// lost mails without a word.
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

#include <CLI/CLI.hpp>
#include <unistd.h>

#include "mutation/batches.h"
#include "mutation/report.h"

namespace {

using namespace nimport::mutation;
namespace fs = std::filesystem;

constexpr std::uint64_t FLIPS_PER_PROCESS = 2'000;

struct Arguments {
  std::uint64_t count = 1000;
  std::uint64_t first = 0;
  std::uint64_t seed = 1;
  std::vector<std::string> flips;  // kinds of pages
  std::uint64_t step = 1;
  std::string shard = "0/1";
  fs::path results;
  bool isKeeping = false;
  BatchOptions batches;
};

void AddOptions(CLI::App& app, Arguments& arguments) {
  app.add_option("COUNT", arguments.count, "Number of mutants");
  app.add_option("--seed", arguments.seed, "Seed of all mutants");
  app.add_option("--flips", arguments.flips, "Kinds of pages whose bits are flipped, each alone");
  app.add_option("--step", arguments.step, "Flip every Nth bit of them")
      ->check(CLI::PositiveNumber);
  app.add_option("--shard", arguments.shard, "I/N: only part I, from 0, of N parts of the flips");
  app.add_option("--first", arguments.first, "Number of the first mutant");
  app.add_option("--batch", arguments.batches.batch, "Mutants in one process");
  app.add_option("--work", arguments.batches.workDirectory, "Directory to work in; emptied");
  app.add_option("--results", arguments.results,
                 "A line of JSON per mutant goes here; of flips, to FILE.I");
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

// Every `step`th of the flips, of which the shard is a part.
std::vector<Flip> ChooseFlips(const Arguments& arguments, const std::vector<SoundStore>& stores) {
  const std::vector<Flip> all = ListFlips(stores, arguments.flips);
  const std::size_t slash = arguments.shard.find('/');
  const std::uint64_t part = std::stoull(arguments.shard);
  const std::uint64_t parts = std::stoull(arguments.shard.substr(slash + 1));
  std::vector<Flip> chosen;
  for (std::size_t i = part * arguments.step; i < all.size(); i += parts * arguments.step)
    chosen.push_back(all[i]);
  return chosen;
}

int Run(Arguments& arguments) {
  BatchOptions& batches = arguments.batches;
  if (batches.workDirectory.empty()) {
    batches.workDirectory = fs::temp_directory_path() / ("mutate-" + std::to_string(getpid()));
  }
  if (batches.logs.empty()) batches.logs = fs::current_path() / "mutate-logs";
  std::ofstream results;
  if (!arguments.flips.empty() && !arguments.results.empty()) {
    arguments.results += '.' + arguments.shard.substr(0, arguments.shard.find('/'));
  }
  if (!arguments.results.empty()) results.open(arguments.results);

  Laboratory laboratory(batches.workDirectory);
  std::vector<Flip> flips;
  if (arguments.flips.empty()) {
    batches.makeMutant = [&](std::uint64_t number) {
      return MakeMutant(laboratory.stores(), arguments.seed, number);
    };
    std::cout << "seed " << arguments.seed << ", mutants " << arguments.first << " to "
              << arguments.first + arguments.count - 1 << "\n\n";
  } else {
    flips = ChooseFlips(arguments, laboratory.stores());
    arguments.count = flips.size();
    batches.isQuick = true;
    batches.batch = FLIPS_PER_PROCESS;
    batches.makeMutant = [&](std::uint64_t number) {
      return MakeMutant(laboratory.stores(), flips[number], number);
    };
    std::cout << flips.size() << " flips, shard " << arguments.shard << ", every " << arguments.step
              << "th\n\n";
  }
  Report report;
  RunBatches(laboratory, batches, arguments.first, arguments.first + arguments.count,
             [&](const Finding& finding) {
               const Mutant mutant = batches.makeMutant(finding.number);
               report.Add(mutant, finding);
               if (results.is_open()) {
                 WriteResult(results, mutant, finding, laboratory.stores()[mutant.store].name);
               }
             });
  report.Print(std::cout);
  if (arguments.isKeeping && arguments.count == 1) {
    laboratory.Leave(batches.makeMutant(arguments.first));
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
