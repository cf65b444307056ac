// Goes through a whole store once, source by source of mails, and keeps account of it.
#ifndef NIMPORT_ARCHIVE_EXPORTER_H_
#define NIMPORT_ARCHIVE_EXPORTER_H_

#include <cstdint>
#include <deque>
#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "archive/account.h"
#include "archive/balance.h"
#include "archive/contacts/write_contacts.h"
#include "archive/export_choice.h"
#include "archive/export_progress.h"
#include "archive/folder_writer.h"
#include "archive/mail_source.h"
#include "archive/source_export.h"
#include "archive/store_sample.h"
#include "store/store.h"

namespace nimport::archive {

// Where the mails and contacts go. Paths are those of a layout, beneath the target, with the
// endings of their format.
class ExportTarget {
 public:
  virtual ~ExportTarget() = default;
  // `path` is empty where the layout has no place for cabinets.
  virtual void BeginCabinet(const std::filesystem::path& path) = 0;
  [[nodiscard]] virtual std::unique_ptr<FolderWriter> OpenFolder(
      const std::filesystem::path& path) = 0;
  // Whether mails that would be shown garbled get a readable form.
  [[nodiscard]] virtual bool isReadable() const { return false; }
  virtual WrittenContacts WriteContacts(const addressbook::AddressBook& book) = 0;
  // The names of what stands at the top. They are kept when KeepNames is called, before something
  // is written under one and at the end.
  [[nodiscard]] virtual ArchiveNames& names() { return names_; }
  virtual void KeepNames() {}
  // Null where no index is made. Lives as long as the target.
  [[nodiscard]] virtual MailIndex* index() { return nullptr; }

 private:
  ArchiveNames names_;
};

struct ExportOptions {
  bool hasUnlisted = true;  // what no folder lists is exported too
  bool hasDeleted = false;  // mails that were deleted, too
  ExportChoice choice = {};
  // Of the same store, each for one thread that reads mails besides; they outlive the exporter.
  std::vector<platform::Platform*> sessions = {};
};

class Exporter {
 public:
  // Throws store::Error when neither database can be read, store::Interrupted, and
  // std::runtime_error for a folder that the store does not have. `platform`, whose settings lead
  // to the store, and `progress` outlive the object.
  Exporter(platform::Platform& platform, const ArchiveForm& form, ExportProgress& progress,
           ExportOptions options = {});

  // What the store is known by; see TakeSample. Before Run. Throws store::Interrupted.
  [[nodiscard]] StoreSample Sample(const StoreSample& also);
  // "Cabinet/Folder" of each folder that the store lists.
  [[nodiscard]] std::vector<std::string> FolderNames() const;

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
  void OpenSessions();
  // Everything that the store's folders list, then what they do not.
  void ExportMails(ExportTarget& target);
  void ExportUnlisted(ExportTarget& target, store::MailList list, const MailSources& listed,
                      ArchiveNames& names);
  // Takes the files of mails that were deleted, which come with those, from a list.
  void LeaveOutDeleted(std::vector<std::string>& files);
  void ExportUnnamedFiles(ExportTarget& target, ArchiveNames& names);
  // In the order of the account.
  void ExportSources(ExportTarget& target, const MailSources& sources);
  void ExportSource(const MailSource& source, ExportTarget& target);
  void ExportDeleted(ExportTarget& target, ArchiveNames& names);
  void ExportContacts(ExportTarget& target);
  // Goes through the list of mails. Rows of folders that cannot be read are added to the index.
  [[nodiscard]] store::MailList ReadMailList(ExportTarget& target, const MailSources& listed);
  // Says of the rows that no folder lists that they were left out.
  void LeaveOut(ExportTarget& target, const store::MailList& list, const MailSources& listed);
  // Where the mails go; null where no writer can be opened for a reason that concerns the folder
  // alone, which is in the account then.
  [[nodiscard]] static std::unique_ptr<FolderWriter> OpenFolder(ExportTarget& target,
                                                                const std::filesystem::path& path,
                                                                SourceExport& work);
  void MakeCabinet(ExportTarget& target, const std::filesystem::path& cabinet);
  // Compares the account with the rows of the list of mails.
  // Those that were asked for and are no folders of the store.
  void NameMissingSources();
  void StrikeBalance(const store::MailList& list);

  platform::Platform& platform_;
  ArchiveForm form_;
  ExportOptions options_;
  FolderPaths paths_;
  std::set<std::filesystem::path> cabinets_;  // that were made, or cannot be
  std::optional<store::Store> store_;         // empty when the mail database cannot be read
  std::deque<store::Store> sessions_;         // more of the same
  Account account_;
  std::vector<FoundFolder> found_;     // of the listed folders
  std::vector<std::string> failures_;  // why their mails cannot be listed; empty where they can
  ExportProgress& progress_;
  const SourceExport* current_ = nullptr;  // at work; its account is not in account_ yet
};

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_EXPORTER_H_
