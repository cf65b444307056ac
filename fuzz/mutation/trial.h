// One mutant read in every way: what came out, and what was left behind.
#ifndef NIMPORT_FUZZ_MUTATION_TRIAL_H_
#define NIMPORT_FUZZ_MUTATION_TRIAL_H_

#include <cstdint>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "mkstore/store_writer.h"
#include "mutation/mutant.h"

namespace nimport::mutation {

// What an export of a store gave.
struct Exported {
  int exitCode = -1;
  std::multiset<std::string> mails;     // their contents
  std::multiset<std::string> contacts;  // vCards
  std::set<std::string> remarks;        // what the account names
  std::string message;                  // why the run ended early
};

// Counts of one trial. "Whole" came out as from the sound store, byte for byte.
struct Result {
  std::uint64_t number = 0;
  int exitCode = -1;
  std::uint64_t mailsExpected = 0;
  std::uint64_t mailsWhole = 0;
  std::uint64_t mailsOut = 0;
  std::uint64_t contactsExpected = 0;
  std::uint64_t contactsWhole = 0;
  std::uint64_t contactsOut = 0;
  std::uint64_t newRemarks = 0;  // that the sound store's account does not have
  std::vector<std::string> complaints;

  [[nodiscard]] nlohmann::json ToJson() const;
  [[nodiscard]] static Result FromJson(const nlohmann::json& json);
};

// Stores on disk, one of which is damaged at a time. The layout of the directory that is worked in:
//   a/b/store-N/  the stores, a/b/out/ the export, a/b/tmp/ temporary files
// so that what leaves the target by a few levels is still seen.
class Laboratory {
 public:
  // Makes the stores beneath `directory`, which is emptied.
  explicit Laboratory(const std::filesystem::path& directory);

  [[nodiscard]] const std::vector<SoundStore>& stores() const { return sound_; }

  // Exports every sound store, to compare with; quickly for TryQuickly.
  void MeasureSound(bool isQuick = false);

  // Damages the store, walks it with every function of the plug-in, exports it, looks at what is
  // there and repairs the store.
  [[nodiscard]] Result Try(const Mutant& mutant);

  // The same with an export into memory and, instead of the walk, a look at the mails, their
  // headers and the addresses without NIMPORT_SALVAGE. Some milliseconds.
  [[nodiscard]] Result TryQuickly(const Mutant& mutant);

  // Makes every store sound again, after a trial that ended early.
  void Repair();

  // Damages the store and leaves it so.
  void Leave(const Mutant& mutant) { Put(mutant.store, mutant.file, mutant.bytes); }

 private:
  struct Places {
    std::filesystem::path root;
    std::filesystem::path out;
    std::filesystem::path temporary;
  };

  void Add(const std::string& name, const std::string& description, jetwriter::JetVersion format);
  void Put(std::size_t store, const std::string& file, const std::optional<std::string>& bytes);
  void Walk(std::size_t store) const;
  [[nodiscard]] Exported Export(std::size_t store) const;
  [[nodiscard]] Exported ExportQuickly(std::size_t store) const;
  // Mails are their headers. Exit code 1 when any function failed.
  [[nodiscard]] Exported ReadStrictly(std::size_t store) const;
  [[nodiscard]] static Result Compare(const Exported& got, const Exported& expected);
  // Every file outside the target, with what would change if it were touched.
  [[nodiscard]] std::map<std::string, std::string> Surroundings() const;

  Places places_;
  std::vector<mkstore::Store> made_;
  std::vector<SoundStore> sound_;
  std::vector<Exported> expected_;
  std::vector<Exported> expectedStrictly_;  // for TryQuickly
};

}  // namespace nimport::mutation

#endif  // NIMPORT_FUZZ_MUTATION_TRIAL_H_
