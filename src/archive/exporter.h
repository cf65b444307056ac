// Goes through a whole store once, source by source of mails, and keeps account of it.
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
#include "archive/mail_source.h"
#include "archive/source_export.h"
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
  // Null where no index is made. Lives as long as the target.
  [[nodiscard]] virtual MailIndex* index() { return nullptr; }
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
  // And how many of the last mails in its index are not in their place.
  [[nodiscard]] std::int64_t waiting() const {
    return current_ == nullptr ? 0 : current_->waiting();
  }

 private:
  void OpenStore();
  // What is exported, in the order of the account.
  void ExportSources(ExportTarget& target, const MailSources& sources);
  void ExportSource(const MailSource& source, ExportTarget& target);
  void ExportContacts(ExportTarget& target);
  // Compares the account with the rows of the list of mails.
  void StrikeBalance();

  platform::Platform& platform_;
  ExportFormat format_;
  std::optional<store::Store> store_;  // empty when the mail database cannot be read
  Account account_;
  std::vector<FoundFolder> found_;
  ExportProgress& progress_;
  const SourceExport* current_ = nullptr;  // at work; its account is not in account_ yet
};

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_EXPORTER_H_
