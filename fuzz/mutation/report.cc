#include "mutation/report.h"

#include <algorithm>
#include <iomanip>
#include <ostream>
#include <sstream>

namespace nimport::mutation {
namespace {

constexpr const char* TOTAL = "**all**";

std::string Percent(std::uint64_t part, std::uint64_t whole) {
  if (whole == 0) return "-";
  std::ostringstream out;
  out << std::fixed << std::setprecision(1)
      << 100.0 * static_cast<double>(part) / static_cast<double>(whole);
  return out.str();
}

}  // namespace

void Report::Counts::Add(const Finding& finding) {
  switch (finding.ending) {
    case Ending::Leak:
      // The trial itself was counted already.
      ++leaks;
      return;
    case Ending::Crash:
      ++crashes;
      break;
    case Ending::Hang:
      ++hangs;
      break;
    case Ending::Done:
      break;
  }
  ++mutants;
  const Result& result = finding.result;
  if (finding.ending != Ending::Done) return;
  if (result.exitCode == 2) ++unreadable;
  complaints += result.complaints.size();
  mailsExpected += result.mailsExpected;
  mailsWhole += result.mailsWhole;
  mailsLost += result.mailsExpected - std::min(result.mailsOut, result.mailsExpected);
  contactsExpected += result.contactsExpected;
  contactsWhole += result.contactsWhole;
  const bool isWhole =
      result.mailsWhole == result.mailsExpected && result.contactsWhole == result.contactsExpected;
  if (!isWhole && result.exitCode != 2 && result.newRemarks == 0) ++altered;
}

void Report::Add(const Mutant& mutant, const Finding& finding) {
  for (auto* rows : {&byDamage_, &byPlace_}) {
    (*rows)[rows == &byDamage_ ? NameOf(mutant.damage) : mutant.place].Add(finding);
    (*rows)[TOTAL].Add(finding);
  }
  const auto fail = [&](const std::string& what) {
    failures_.push_back(std::to_string(mutant.number) + " (" + mutant.file + ", " +
                        NameOf(mutant.damage) + ", " + mutant.place + ", " + mutant.description +
                        "): " + what);
  };
  if (finding.ending == Ending::Crash) fail("crash");
  if (finding.ending == Ending::Hang) fail("hang");
  if (finding.ending == Ending::Leak) fail("a leak in this batch");
  for (const std::string& complaint : finding.result.complaints)
    fail(complaint);
}

void Report::PrintTable(std::ostream& out, const char* title,
                        const std::map<std::string, Counts>& rows) {
  out << "| " << title
      << " | mutants | crashes | hangs | leaks | unnamed losses | mails whole % | mails lost % | "
         "contacts whole % | cannot run | altered unnoticed |\n"
      << "|---|--:|--:|--:|--:|--:|--:|--:|--:|--:|--:|\n";
  for (const auto& [name, counts] : rows) {
    out << "| " << name << " | " << counts.mutants << " | " << counts.crashes << " | "
        << counts.hangs << " | " << counts.leaks << " | " << counts.complaints << " | "
        << Percent(counts.mailsWhole, counts.mailsExpected) << " | "
        << Percent(counts.mailsLost, counts.mailsExpected) << " | "
        << Percent(counts.contactsWhole, counts.contactsExpected) << " | " << counts.unreadable
        << " | " << counts.altered << " |\n";
  }
  out << '\n';
}

void Report::Print(std::ostream& out) const {
  PrintTable(out, "damage", byDamage_);
  PrintTable(out, "what was hit", byPlace_);
  for (const std::string& failure : failures_)
    out << failure << '\n';
}

}  // namespace nimport::mutation
