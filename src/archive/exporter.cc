#include "archive/exporter.h"

#include <iterator>
#include <utility>

#include "archive/compose_mail.h"
#include "archive/mail_date.h"
#include "archive/safe_name.h"
#include "command/contacts.h"
#include "command/interruption.h"
#include "host/address_book.h"
#include "host/result_error.h"

namespace nimport::command {

namespace {

namespace fs = std::filesystem;

constexpr const char* ACCOUNT_NAME = "account.json";
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
  if (headers.date) remark.date = ToLocalText(InstantOfColumnDate(*headers.date));
  return remark;
}

}  // namespace

Exporter::Exporter(const host::Library& library, ExportFormat format)
    : library_(library), format_(format) {
  try {
    OpenStore();
  } catch (const host::ResultError& error) {
    // The address book is worth a run of its own.
    try {
      if (host::AddressBook(library_).AddressCount() == 0) throw error;
    } catch (const host::ResultError&) {
      throw error;
    }
    account_.failures.push_back(RemarkOn(MAIL_DATABASE, error.reason()));
    account_.AddLosses(RemarkOn(MAIL_DATABASE, {}), library_.TakeLosses());
  }
}

void Exporter::OpenStore() {
  reader_.emplace(library_);
  const Remark list = RemarkOn(FOLDER_LIST, reader_->session().failedListing());
  if (!list.reason.empty()) account_.failures.push_back(list);
  account_.AddLosses(list, library_.TakeLosses());
}

const Account& Exporter::Run(ExportTarget& target) {
  try {
    if (reader_) ExportFolders(target);
    if (reader_ && !Interruption::IsRequested()) StrikeBalance();
    if (!Interruption::IsRequested()) ExportContacts(target);
  } catch (const std::exception& error) {
    account_.abortReason = error.what();
  }
  account_.isInterrupted = Interruption::IsRequested();
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
  for (const host::Cabinet& cabinet : reader_->session().cabinets()) {
    const fs::path directory = cabinetNames.Take(ToSafeName(cabinet.name));
    target.BeginCabinet(directory);
    UniqueNames folderNames;
    for (const host::Folder& folder : cabinet.folders) {
      const FolderPlace place{.index = index++, .cabinet = &cabinet, .folder = &folder};
      const fs::path path = directory / folderNames.Take(ToSafeName(folder.name()));
      if (!Interruption::IsRequested()) TryToExportFolder(place, path, target);
    }
  }
}

void Exporter::StrikeBalance() {
  Balance balance = MakeBalance(inspection::ReadMailList(), found_);
  const auto append = [](std::vector<Remark>& list, std::vector<Remark>& more) {
    list.insert(list.end(), std::make_move_iterator(more.begin()),
                std::make_move_iterator(more.end()));
  };
  append(account_.failures, balance.missing);
  append(account_.unlisted, balance.unlisted);
  append(account_.leftOut, balance.leftOut);
}

void Exporter::ExportContacts(ExportTarget& target) {
  try {
    account_.contacts = target.WriteContacts(library_);
  } catch (const host::ResultError& error) {
    account_.failures.push_back(RemarkOn(ADDRESS_BOOK, error.reason()));
  }
  account_.AddLosses(RemarkOn(ADDRESS_BOOK, {}), library_.TakeLosses());
  for (const host::DiagnosticRecord& note : library_.TakeNotes()) {
    account_.leftOut.push_back(RemarkOn(ADDRESS_BOOK, note.Describe()));
  }
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
  } catch (const host::ResultError& error) {
    account_.failures.push_back(RemarkOn(folder.name, error.reason()));
  }
  account_.AddLosses(RemarkOn(folder.name, {}), library_.TakeLosses());
  progress_.EndFolder(folder);
}

void Exporter::ExportFolder(const FolderPlace& place, FolderWriter& writer, FolderAccount& folder) {
  const MailReader::OpenFolder open(*reader_, place);
  folder.counts.found = open.mailCount();
  found_.back().mailCount = open.mailCount();
  progress_.BeginFolder(folder.name, open.mailCount());
  try {
    for (std::int32_t position = 0; position < open.mailCount(); ++position) {
      if (Interruption::IsRequested()) break;
      ExportMail(open, position, writer, folder);
      progress_.Step(position + 1);
    }
    writer.Finish();
  } catch (...) {
    writer.GiveUp();
    folder.counts.written -= writer.waiting();
    throw;
  }
}

void Exporter::ExportMail(const MailReader::OpenFolder& open, std::int32_t position,
                          FolderWriter& writer, FolderAccount& folder) {
  std::optional<MailHeaders> all;
  const auto askHeaders = [&] {
    if (!all) all = open.Headers(position);
  };
  MailHeaders headers;
  try {
    MailContents contents = open.Contents(position, askHeaders);
    if (contents.HasOwnHeader()) {
      headers = FewHeaders(open.MailAt(position), contents);
    } else {
      askHeaders();
      headers = *all;
    }
    if (headers.IsEmpty() && contents.bytes.empty()) {
      ++folder.counts.skipped;
      account_.skipped.push_back(RemarkOn(
          folder, position, headers, "the store holds neither headers nor contents of this mail"));
    } else {
      WriteMail(headers, contents, position, writer, folder);
      AddNotes(headers, contents, position, folder);
    }
  } catch (const host::ResultError& error) {
    ++folder.counts.failed;
    askHeaders();
    account_.failures.push_back(RemarkOn(folder, position, *all, error.reason()));
  }
  const std::vector<host::DiagnosticRecord> losses = library_.TakeLosses();
  if (losses.empty()) return;
  askHeaders();
  account_.AddLosses(RemarkOn(folder, position, *all, {}), losses);
}

MailHeaders Exporter::FewHeaders(const host::Mail& mail, const MailContents& contents) const {
  MailHeaders headers;
  if (format_ == ExportFormat::Eml) ReadSubject(mail, headers);
  if (!InstantOfHeader(contents.bytes)) ReadDate(mail, headers);
  return headers;
}

void Exporter::WriteMail(const MailHeaders& headers, MailContents& contents, std::int32_t position,
                         FolderWriter& writer, FolderAccount& folder) const {
  const FinishedMail mail = ComposeMail(headers, contents, reader_->session().accountName());
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

}  // namespace nimport::command
