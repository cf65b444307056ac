#ifndef NIMPORT_ARCHIVE_EXPORT_PROGRESS_H_
#define NIMPORT_ARCHIVE_EXPORT_PROGRESS_H_

#include <cstdint>
#include <string>

#include "archive/account.h"

namespace nimport::archive {

// What an export does that takes long, apart from its mails.
enum class Activity : std::uint8_t {
  ListingFolder,  // reads the list of a folder's mails
  Flushing,       // waits until the folder's mails are on the disk
  Balancing,      // compares the account with the list of mails
  Contacts,       // reads and writes the address book
};

// Hears how far an export is.
class ExportProgress {
 public:
  virtual ~ExportProgress() = default;
  // `folder` is empty where the activity concerns none.
  virtual void Begin(Activity /*activity*/, const std::string& /*folder*/) {}
  virtual void BeginFolder(const std::string& name, std::int32_t mailCount) = 0;
  // After each mail.
  virtual void Step(std::int32_t done) = 0;
  virtual void EndFolder(const FolderAccount& folder) = 0;
};

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_EXPORT_PROGRESS_H_
