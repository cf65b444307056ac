#ifndef NIMPORT_ARCHIVE_FOLDER_WRITER_H_
#define NIMPORT_ARCHIVE_FOLDER_WRITER_H_

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include "archive/compose_mail.h"
#include "archive/layout.h"

namespace nimport::archive {

enum class ExportFormat { Maildir, Mbox, Eml };

// How an export is written.
struct ArchiveForm {
  ExportFormat format = ExportFormat::Maildir;
  Layout layout = Layout::Plain;
  bool isDryRun = false;  // nothing is made or written; what is there is looked at all the same
};

// Writes the mails of one folder. A mail appears under its final name only when it is whole and
// outlasts a loss of power. Mails that an earlier run wrote are recognised, also after a mail
// reader has moved or flagged them; one that was written without its file is replaced when the file
// has come. One that is torn, since a file system kept its name but not all of its bytes, counts as
// not written. One that an earlier run wrote otherwise, with other options or in another version,
// is outdated, unless somebody has changed it since. Failures of the system are std::system_error.
class FolderWriter {
 public:
  enum class Outcome {
    Written,
    AlreadyThere,
    Outdated,   // there, but this run would write it otherwise
    Rewritten,  // it was outdated
  };

  // Where a mail is, or will be once it is in place, and the key by which it is known there.
  struct Place {
    std::string key;
    std::filesystem::path path;
  };

  virtual ~FolderWriter() = default;

  // Before the first mail: those that are outdated are to be written again.
  void RewriteOutdated() { rewritesOutdated_ = true; }

  // Before the first mail: how many may come.
  virtual void Expect(std::size_t /*mails*/) {}

  // Mails come in the order of their positions. `subject` is UTF-8 and may be empty.
  virtual Outcome Write(FinishedMail mail, std::int32_t position, const std::string& subject) = 0;

  // That of the last mail that came.
  [[nodiscard]] const Place& place() const { return place_; }

  // Puts everything that was written in its place.
  virtual void Finish() {}

  // Instead of Finish after a failure: keeps what can be kept of what was written.
  virtual void GiveUp() noexcept {}

  // How many mails were written but are not in their place yet.
  [[nodiscard]] virtual std::int64_t waiting() const { return 0; }

 protected:
  // What is there of a mail that comes.
  enum class Present { No, Yes, Outdated };

  // What Write answers, and whether it then writes.
  [[nodiscard]] Outcome OutcomeFor(Present present) const;
  [[nodiscard]] static bool Writes(Outcome outcome) {
    return outcome == Outcome::Written || outcome == Outcome::Rewritten;
  }

  Place place_;

 private:
  bool rewritesOutdated_ = false;
};

// What is appended to a folder's name.
[[nodiscard]] const char* FolderEnding(const ArchiveForm& form);

// A writer for the folder that is to be at `path`, its ending included. Makes the directories that
// it needs.
[[nodiscard]] std::unique_ptr<FolderWriter> OpenFolderWriter(const ArchiveForm& form,
                                                             const std::filesystem::path& path);

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_FOLDER_WRITER_H_
