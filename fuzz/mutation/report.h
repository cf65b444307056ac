// Counts of many trials, as tables.
#ifndef NIMPORT_FUZZ_MUTATION_REPORT_H_
#define NIMPORT_FUZZ_MUTATION_REPORT_H_

#include <cstdint>
#include <iosfwd>
#include <map>
#include <string>
#include <vector>

#include "mutation/batches.h"
#include "mutation/mutant.h"

namespace nimport::mutation {

class Report {
 public:
  void Add(const Mutant& mutant, const Finding& finding);

  // Whether something happened that must not.
  [[nodiscard]] bool HasFailures() const { return !failures_.empty(); }

  // As Markdown: a table by the kind of damage, one by what was hit, and what must not happen.
  void Print(std::ostream& out) const;

 private:
  struct Counts {
    std::uint64_t mutants = 0;
    std::uint64_t crashes = 0;
    std::uint64_t hangs = 0;
    std::uint64_t leaks = 0;
    std::uint64_t unreadable = 0;  // exit code 2
    std::uint64_t complaints = 0;
    std::uint64_t mailsExpected = 0;
    std::uint64_t mailsWhole = 0;
    std::uint64_t mailsLost = 0;
    std::uint64_t contactsExpected = 0;
    std::uint64_t contactsWhole = 0;
    std::uint64_t altered = 0;  // mutants with other mails or contacts and nothing to name

    void Add(const Finding& finding);
  };

  static void PrintTable(std::ostream& out, const char* title,
                         const std::map<std::string, Counts>& rows);

  std::map<std::string, Counts> byDamage_;
  std::map<std::string, Counts> byPlace_;
  std::vector<std::string> failures_;
};

}  // namespace nimport::mutation

#endif  // NIMPORT_FUZZ_MUTATION_REPORT_H_
