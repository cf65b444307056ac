// Trials in processes of their own, many in each, so that a crash or a hang costs one trial.
#ifndef NIMPORT_FUZZ_MUTATION_BATCHES_H_
#define NIMPORT_FUZZ_MUTATION_BATCHES_H_

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

#include "mutation/trial.h"

namespace nimport::mutation {

enum class Ending {
  Done,   // the result is there
  Crash,  // the process died
  Hang,   // it took more than HANG_SECONDS of processor time
  Leak,   // memory was lost, in one of the trials up to this one of the batch
};

struct Finding {
  Ending ending = Ending::Done;
  std::uint64_t number = 0;
  Result result;  // only when it is done
};

inline constexpr double HANG_SECONDS = 5;

struct BatchOptions {
  std::function<Mutant(std::uint64_t number)> makeMutant;
  bool isQuick = false;                 // Laboratory::TryQuickly
  std::uint64_t batch = 100;            // trials in one process
  std::filesystem::path logs;           // what the processes say; one file for each that failed
  std::filesystem::path workDirectory;  // of the laboratory
};

// Tries the mutants `first` to `last` - 1 and hands each finding to `take`.
void RunBatches(Laboratory& laboratory, const BatchOptions& options, std::uint64_t first,
                std::uint64_t last, const std::function<void(const Finding&)>& take);

}  // namespace nimport::mutation

#endif  // NIMPORT_FUZZ_MUTATION_BATCHES_H_
