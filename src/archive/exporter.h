// Goes through a whole store once, mail by mail, and keeps account of it.
#ifndef NIMPORT_ARCHIVE_EXPORTER_H_
#define NIMPORT_ARCHIVE_EXPORTER_H_

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "archive/account.h"
#include "archive/balance.h"
#include "archive/export_progress.h"
#include "archive/folder_writer.h"
#include "archive/mail_contents.h"
#include "archive/store_folders.h"
#include "store/store.h"

namespace nimport::archive {

// Where the mails and contacts go. Paths are beneath the target.
class ExportTarget {
 public:
  virtual ~ExportTarget() = default;
  virtual void BeginCabinet(const std::filesystem::path& path) = 0;
  [[nodiscard]] virtual std::unique_ptr<FolderWriter> OpenFolder(
      const std::filesystem::path& path) = 0;
  // Returns the number of contacts.
  virtual std::int64_t WriteContacts(const addressbook::AddressBook& book) = 0;
};

class Exporter {
 public:
  // Throws store::Error when neither database can be read, store::Interrupted. `platform`, whose
  // settings lead to the store, and `progress` outlive the object.
  Exporter(platform::Platform& platform, ExportFormat format, ExportProgress& progress);

  // To be called once. Never throws: what ends the run early stands in the account.
  const Account& Run(ExportTarget& target);

  // The account of a run that does not come back any more, while nothing else touches it.
  [[nodiscard]] Account InterruptedAccount() const;

 private:
  void OpenStore();
  void ExportFolders(ExportTarget& target);
  void ExportContacts(ExportTarget& target);
  // Compares the account with the rows of the list of mails.
  void StrikeBalance();
  void TryToExportFolder(const FolderPlace& place, const std::filesystem::path& path,
                         ExportTarget& target);
  void ExportFolder(const FolderPlace& place, FolderWriter& writer, FolderAccount& folder);
  void ExportMail(const store::OpenFolder& open, std::int32_t position, FolderWriter& writer,
                  FolderAccount& folder);
  void WriteMail(const MailHeaders& headers, MailContents& contents, std::int32_t position,
                 FolderWriter& writer, FolderAccount& folder) const;
  // Mails with a header of their own keep it, whatever can be read of it.
  void AddNotes(const MailHeaders& headers, const MailContents& contents, std::int32_t position,
                const FolderAccount& folder);

  platform::Platform& platform_;
  ExportFormat format_;
  std::optional<store::Store> store_;  // empty when the mail database cannot be read
  Account account_;
  std::vector<FoundFolder> found_;
  ExportProgress& progress_;
  const FolderWriter* writer_ = nullptr;  // of the last folder in the account, while it is written
};

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_EXPORTER_H_
