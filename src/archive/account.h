// The account of an export: what was found and what became of it.
#ifndef NIMPORT_ARCHIVE_ACCOUNT_H_
#define NIMPORT_ARCHIVE_ACCOUNT_H_

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "store/mails/deleted_mails.h"
#include "store/problem.h"

namespace nimport::archive {

// Numbers of mails. found is the sum of written, already there, skipped and failed, except after an
// interruption.
struct MailCounts {
  std::int64_t found = 0;
  std::int64_t written = 0;
  std::int64_t rewritten = 0;  // of those: were there, as another run wrote them
  std::int64_t alreadyThere = 0;
  std::int64_t wouldChange = 0;  // of those: this run would write them otherwise
  std::int64_t skipped = 0;
  std::int64_t failed = 0;
  std::int64_t garbled = 0;    // written or there: today's programs would show them garbled
  std::int64_t notChosen = 0;  // by their dates
};

// What the mails of a folder of the archive are.
enum class SourceKind {
  Listed,     // rows of the list of mails in a folder of a cabinet
  Repeated,   // the same rows again: another cabinet has the folder too
  NotListed,  // rows of the list of mails that no folder lists
  NoMail,     // files that no row names
  Deleted,    // rows that were deleted
};

struct FolderAccount {
  std::string name;  // "Cabinet/Folder", as shown
  std::string path;  // beneath the target directory
  MailCounts counts;
  SourceKind kind = SourceKind::Listed;
};

// What became of the rows of the list of mails: found is the sum of the others.
struct RowCounts {
  std::int64_t found = 0;
  std::int64_t written = 0;
  std::int64_t alreadyThere = 0;
  std::int64_t skipped = 0;
  std::int64_t failed = 0;
  std::int64_t notListed = 0;  // left out, since they were not asked for
  std::int64_t notChosen = 0;  // by their dates
};

// Something to say about a mail or, without a position, about a whole folder. Texts are UTF-8;
// headers that are not known are empty.
struct Remark {
  std::string folder;
  std::optional<std::int32_t> position;
  std::string subject;
  std::string from;
  std::string to;
  std::string date;
  std::string reason;
};

// About a whole folder, or what `place` says.
[[nodiscard]] Remark RemarkOn(std::string place, std::string reason);

// Where an export leaves its account.
inline constexpr const char* ACCOUNT_NAME = "account.json";

class Account {
 public:
  std::vector<FolderAccount> folders;
  std::vector<Remark> failures;    // could not be exported
  std::vector<Remark> incomplete;  // were exported without a file that is missing
  std::vector<Remark> skipped;     // hold nothing to export
  std::vector<Remark> notes;       // were exported, but a header could not be read
  std::vector<Remark> unlisted;    // mails that stand in no folder, and were not asked for
  std::vector<Remark> leftOut;     // what no export can hold, though nothing is wrong with it
  std::int64_t contacts = 0;       // written
  std::int64_t undisclosed = 0;    // mails that the owner sent, whose ID is not known
  bool isReadable = false;         // mails that would be shown garbled have a readable form
  std::optional<RowCounts> rows;   // once the list of mails was gone through
  std::string contactsFile;        // the name of the file that they are in
  // Mails that were deleted, where they were asked for; those with more than a number were
  // exported, into folders of their own.
  std::optional<store::DeletedCounts> deleted;
  bool isInterrupted = false;
  bool isDryRun = false;    // what was written would be written
  std::string abortReason;  // why the run ended early; empty otherwise

  // Damage that was stepped over while what `place` names was read; each place counts once.
  void AddLosses(const Remark& place, const std::vector<store::Problem>& problems);

  // Adds what another account of the same run says.
  void Append(const Account& more);

  [[nodiscard]] MailCounts Total() const;
  // Whether anything failed or was lost; an interruption is neither.
  [[nodiscard]] bool HasLosses() const;
  [[nodiscard]] bool IsAllDone() const { return !HasLosses() && !isInterrupted; }

  [[nodiscard]] nlohmann::ordered_json ToJson() const;
  void Print(std::ostream& out) const;

 private:
  std::vector<Remark> losses_;
  std::set<std::string> knownLosses_;
};

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_ACCOUNT_H_
