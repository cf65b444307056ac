#include "archive/exporter.h"

#include <iterator>
#include <utility>

#include "archive/compose_mail.h"
#include "archive/contacts/write_contacts.h"
#include "archive/instant.h"
#include "archive/safe_name.h"
#include "platform/interruption.h"
#include "store/mails/mail_list.h"

namespace nimport::archive {

namespace {

namespace fs = std::filesystem;

// Stand for a folder's name in the account.
constexpr const char* ADDRESS_BOOK = "(address book)";
constexpr const char* MAIL_DATABASE = "(mail database)";
constexpr const char* FOLDER_LIST = "(list of folders)";

Remark RemarkOn(const std::string& folder, const std::string& reason) {
  Remark remark;
  remark.folder = folder;
  remark.reason = reason;
  return remark;
}

Remark RemarkOn(const FolderAccount& folder, std::int32_t position, const MailHeaders& headers,
                const std::string& reason) {
  Remark remark = RemarkOn(folder.name, reason);
  remark.position = position;
  remark.subject = headers.subject.value_or("");
  remark.from = headers.from.value_or("");
  remark.to = headers.to.value_or("");
  if (headers.instant) remark.date = ToLocalText(*headers.instant);
  return remark;
}

// What a folder's mail is, as far as it can be read.
struct ReadMail {
  MailHeaders headers;
  std::optional<MailContents> contents;
  std::string failure;  // why there are no contents
};

ReadMail Read(store::Store& store, const store::OpenFolder& folder, std::int32_t position) {
  const platform::Interruption::Pause pause;
  ReadMail mail;
  try {
    const store::MailRecord record = folder.Read(static_cast<std::size_t>(position));
    try {
      mail.contents = ReadContents(store, record);
    } catch (const store::Error& error) {
      mail.failure = error.reason();
    }
    mail.headers = ReadHeaders(store, record, mail.contents ? &*mail.contents : nullptr);
  } catch (const store::Error& error) {
    mail.failure = error.reason();
  }
  return mail;
}

}  // namespace

Exporter::Exporter(platform::Platform& platform, ExportFormat format, ExportProgress& progress)
    : platform_(platform), format_(format), progress_(progress) {
  try {
    OpenStore();
  } catch (const store::Error& error) {
    // The address book is worth a run of its own.
    try {
      const platform::Interruption::Pause pause;
      std::vector<store::Problem> ignored;
      const store::OpenAddressBook book(platform_, ignored,
                                        {.interruption = &platform::Interruption::Flag()});
      if (book.book().AddressCount(addressbook::AddressBook::WHOLE_BOOK) == 0) throw error;
    } catch (const store::Error&) {
      throw error;
    }
    account_.failures.push_back(RemarkOn(MAIL_DATABASE, error.reason()));
  }
}

void Exporter::OpenStore() {
  {
    const platform::Interruption::Pause pause;
    store_.emplace(platform_, store::Options{.interruption = &platform::Interruption::Flag()});
  }
  const Remark list = RemarkOn(FOLDER_LIST, store_->failedListing());
  if (!list.reason.empty()) account_.failures.push_back(list);
  account_.AddLosses(list, store_->TakeLosses());
}

const Account& Exporter::Run(ExportTarget& target) {
  try {
    if (store_) ExportFolders(target);
    if (store_ && !platform::Interruption::IsRequested()) StrikeBalance();
    if (!platform::Interruption::IsRequested()) ExportContacts(target);
  } catch (const store::Interrupted&) {
    // The account says so.
  } catch (const std::exception& error) {
    account_.abortReason = error.what();
  }
  account_.isInterrupted = platform::Interruption::IsRequested();
  return account_;
}

Account Exporter::InterruptedAccount() const {
  Account account = account_;
  account.isInterrupted = true;
  if (writer_ != nullptr) account.folders.back().counts.written -= writer_->waiting();
  return account;
}

void Exporter::ExportFolders(ExportTarget& target) {
  UniqueNames cabinetNames;
  static_cast<void>(cabinetNames.Take(ACCOUNT_NAME));
  static_cast<void>(cabinetNames.Take(CONTACTS_FILE_NAME));
  std::size_t index = 0;
  for (const store::Cabinet& cabinet : store_->cabinets()) {
    const fs::path directory = cabinetNames.Take(ToSafeName(cabinet.name));
    target.BeginCabinet(directory);
    UniqueNames folderNames;
    for (const store::Folder& folder : cabinet.folders) {
      const FolderPlace place{.index = index++, .cabinet = &cabinet, .folder = &folder};
      const fs::path path = directory / folderNames.Take(ToSafeName(folder.name));
      if (!platform::Interruption::IsRequested()) TryToExportFolder(place, path, target);
    }
  }
}

void Exporter::StrikeBalance() {
  Balance balance;
  {
    const platform::Interruption::Pause pause;
    balance = MakeBalance(store::ReadMailList(platform_), found_);
  }
  const auto append = [](std::vector<Remark>& list, std::vector<Remark>& more) {
    list.insert(list.end(), std::make_move_iterator(more.begin()),
                std::make_move_iterator(more.end()));
  };
  append(account_.failures, balance.missing);
  append(account_.unlisted, balance.unlisted);
  append(account_.leftOut, balance.leftOut);
}

void Exporter::ExportContacts(ExportTarget& target) {
  std::vector<store::Problem> losses;
  try {
    std::optional<store::OpenAddressBook> book;
    {
      const platform::Interruption::Pause pause;
      book.emplace(platform_, losses,
                   store::Options{.interruption = &platform::Interruption::Flag()});
    }
    account_.contacts = target.WriteContacts(book->book());
    for (const store::Problem& note : book->notes())
      account_.leftOut.push_back(RemarkOn(ADDRESS_BOOK, note.Describe()));
  } catch (const store::Error& error) {
    account_.failures.push_back(RemarkOn(ADDRESS_BOOK, error.reason()));
  }
  account_.AddLosses(RemarkOn(ADDRESS_BOOK, {}), losses);
}

void Exporter::TryToExportFolder(const FolderPlace& place, const fs::path& path,
                                 ExportTarget& target) {
  FolderAccount& folder = account_.folders.emplace_back();
  folder.name = place.Name();
  folder.path = path.string() + FolderEnding(format_);
  found_.push_back({.name = folder.name, .mailCount = std::nullopt});
  try {
    const std::unique_ptr<FolderWriter> writer = target.OpenFolder(path);
    writer_ = writer.get();
    const std::unique_ptr<const FolderWriter*, void (*)(const FolderWriter**)> forget(
        &writer_, [](const FolderWriter** pointer) { *pointer = nullptr; });
    ExportFolder(place, *writer, folder);
  } catch (const store::Error& error) {
    account_.failures.push_back(RemarkOn(folder.name, error.reason()));
  }
  account_.AddLosses(RemarkOn(folder.name, {}), store_->TakeLosses());
  progress_.EndFolder(folder);
}

void Exporter::ExportFolder(const FolderPlace& place, FolderWriter& writer, FolderAccount& folder) {
  std::optional<store::OpenFolder> open;
  {
    const platform::Interruption::Pause pause;
    open.emplace(store_->Open(*place.folder));
  }
  const auto mailCount = static_cast<std::int32_t>(open->mailCount());
  folder.counts.found = mailCount;
  found_.back().mailCount = mailCount;
  writer.Expect(open->mailCount());
  progress_.BeginFolder(folder.name, mailCount);
  try {
    for (std::int32_t position = 0; position < mailCount; ++position) {
      if (platform::Interruption::IsRequested()) break;
      ExportMail(*open, position, writer, folder);
      progress_.Step(position + 1);
    }
    writer.Finish();
  } catch (const store::Interrupted&) {
    writer.Finish();
  } catch (...) {
    writer.GiveUp();
    folder.counts.written -= writer.waiting();
    throw;
  }
}

void Exporter::ExportMail(const store::OpenFolder& open, std::int32_t position,
                          FolderWriter& writer, FolderAccount& folder) {
  ReadMail mail = Read(*store_, open, position);
  if (!mail.contents) {
    ++folder.counts.failed;
    account_.failures.push_back(RemarkOn(folder, position, mail.headers, mail.failure));
  } else if (mail.headers.IsEmpty() && mail.contents->bytes.empty()) {
    ++folder.counts.skipped;
    account_.skipped.push_back(
        RemarkOn(folder, position, mail.headers,
                 "the store holds neither headers nor contents of this mail"));
  } else {
    WriteMail(mail.headers, *mail.contents, position, writer, folder);
    AddNotes(mail.headers, *mail.contents, position, folder);
  }
  const std::vector<store::Problem> losses = store_->TakeLosses();
  if (!losses.empty()) account_.AddLosses(RemarkOn(folder, position, mail.headers, {}), losses);
}

void Exporter::WriteMail(const MailHeaders& headers, MailContents& contents, std::int32_t position,
                         FolderWriter& writer, FolderAccount& folder) const {
  const FinishedMail mail = ComposeMail(headers, contents, store_->memberId());
  const auto outcome = writer.Write(mail, position, headers.subject.value_or(""));
  const bool isWritten = outcome == FolderWriter::Outcome::Written;
  ++(isWritten ? folder.counts.written : folder.counts.alreadyThere);
}

void Exporter::AddNotes(const MailHeaders& headers, const MailContents& contents,
                        std::int32_t position, const FolderAccount& folder) {
  if (!contents.missing.empty()) {
    account_.incomplete.push_back(RemarkOn(folder, position, headers, contents.missing));
  }
  if (contents.HasOwnHeader()) return;
  for (const std::string& problem : headers.problems) {
    account_.notes.push_back(RemarkOn(folder, position, headers, problem));
  }
}

}  // namespace nimport::archive
