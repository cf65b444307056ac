// One source of mails is written to one directory of an archive.
#ifndef NIMPORT_ARCHIVE_SOURCE_EXPORT_H_
#define NIMPORT_ARCHIVE_SOURCE_EXPORT_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "archive/account.h"
#include "archive/compose_mail.h"
#include "archive/export_choice.h"
#include "archive/export_progress.h"
#include "archive/folder_writer.h"
#include "archive/mail_index.h"
#include "archive/mail_source.h"
#include "common/ordered_threads.h"

namespace nimport::archive {

// A mail that was read, as far as that went.
struct ReadMail {
  MailHeaders headers;
  std::optional<MailContents> contents;
  std::string failure;  // why there are no contents
  IndexRow row;         // what the index says of it, but for the headers and what became of it
  std::optional<FinishedMail> finished;  // where there is something to write; has the bytes then
  std::vector<store::Problem> losses;    // damage that was stepped over
};

// Belongs to one thread, with the store that it reads from. What is known of the source's mails
// stands in an account of its own, so that several can be at work.
class SourceExport {
 public:
  // `path` is where the account says that the mails are; `index` is null where none is made. All
  // else that is passed outlives the object.
  SourceExport(const MailSource& source, store::Store& store, const ExportChoice& choice,
               ExportProgress& progress, std::string path, IndexSink* index);

  // Other sessions of the store, in which mails are read at the same time. They outlive the object.
  void ReadAlsoIn(std::vector<store::Store*> sessions) { sessions_ = std::move(sessions); }

  // To be called once. Failures stand in the account, but for those of the system, which are
  // std::system_error.
  void Run(FolderWriter& writer);

  // Instead, where no writer can be opened.
  void Fail(const std::string& reason);

  // One folder, and what there is to say of its mails.
  [[nodiscard]] const Account& account() const { return account_; }

  // The same of a run that does not come back any more, while nothing else touches it.
  [[nodiscard]] Account InterruptedAccount() const;

  // How many mails were written but are not in their place.
  [[nodiscard]] std::int64_t waiting() const {
    return writer_ == nullptr ? lost_ : writer_->waiting();
  }

  // Why the list of the source's mails cannot be read; empty when it can.
  [[nodiscard]] const std::string& failure() const { return failure_; }

  // How many mails the source has; empty before it was read.
  [[nodiscard]] std::optional<std::int64_t> mailCount() const { return mailCount_; }

 private:
  using MailThreads = OrderedThreads<ReadMail>;

  void WriteMails(FolderWriter& writer);
  // May run in several threads at once, each with a session of its own.
  [[nodiscard]] ReadMail Read(store::Store& store, const OpenSource& open,
                              std::int32_t position) const;
  void Compose(const store::Store& store, ReadMail& mail) const;
  // Threads that read all mails; `open` belongs to one of them then.
  [[nodiscard]] std::unique_ptr<MailThreads> BeginThreads(const OpenSource& open);
  void ExportMail(ReadMail mail, std::int32_t position, FolderWriter& writer);
  void WriteMail(ReadMail& mail, std::int32_t position, FolderWriter& writer);
  // Adds the mail to the index.
  void Register(ReadMail& mail, std::int32_t position) const;
  // Mails with a header of their own keep it, whatever can be read of it.
  void AddNotes(const MailHeaders& headers, const MailContents& contents, std::int32_t position);
  [[nodiscard]] Remark RemarkOn(std::int32_t position, const MailHeaders& headers,
                                const std::string& reason) const;
  [[nodiscard]] FolderAccount& folder() { return account_.folders.front(); }

  const MailSource& source_;
  store::Store& store_;
  std::vector<store::Store*> sessions_;
  const ExportChoice& choice_;
  ExportProgress& progress_;
  IndexSink* index_;
  Account account_;
  std::optional<std::int64_t> mailCount_;
  std::string failure_;
  const FolderWriter* writer_ = nullptr;  // while it is written to
  std::int64_t lost_ = 0;                 // mails that a failure kept from their place
};

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_SOURCE_EXPORT_H_
