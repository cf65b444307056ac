#include "archive/exporter.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <map>
#include <set>
#include <system_error>
#include <utility>

#include "archive/archive_names.h"
#include "archive/contacts/write_contacts.h"
#include "archive/deleted_source.h"
#include "archive/unlisted_sources.h"
#include "common/utf8_path.h"
#include "platform/interruption.h"
#include "store/mails/mail_kinds.h"
#include "store/mails/mail_list.h"
#include "text/ascii.h"

namespace nimport::archive {

namespace {

// Stand for a folder's name in the account.
constexpr const char* ADDRESS_BOOK = "(address book)";
constexpr const char* MAIL_DATABASE = "(mail database)";
constexpr const char* DELETED_MAILS = "(deleted mails)";
constexpr const char* FOLDER_LIST = "(list of folders)";

IndexRow RowOf(const store::MailEntry& mail, const MailSource& source) {
  IndexRow row;
  row.number = mail.dataNo;
  row.kind = mail.dataType;
  row.cabinet = source.cabinet();
  row.folder = source.folder();
  return row;
}

// Whether a directory or file cannot be made because of its name or what stands there, so that
// others may be made all the same.
bool ConcernsName(const std::error_code& error) {
  constexpr std::array<std::errc, 10> REASONS = {
      std::errc::file_exists,           std::errc::filename_too_long,
      std::errc::illegal_byte_sequence, std::errc::invalid_argument,
      std::errc::is_a_directory,        std::errc::no_such_file_or_directory,
      std::errc::not_a_directory,       std::errc::operation_not_permitted,
      std::errc::permission_denied,     std::errc::too_many_symbolic_link_levels};
  return std::ranges::any_of(REASONS, [&](std::errc reason) { return error == reason; });
}

}  // namespace

Exporter::Exporter(platform::Platform& platform, const ArchiveForm& form, ExportProgress& progress,
                   ExportOptions options)
    : platform_(platform),
      form_(form),
      options_(std::move(options)),
      paths_(form.layout),
      progress_(progress) {
  account_.isDryRun = form.isDryRun;
  try {
    OpenStore();
    OpenSessions();
    RequireFolders(options_.choice, *store_);
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

void Exporter::OpenSessions() {
  const platform::Interruption::Pause pause;
  for (platform::Platform* const platform : options_.sessions) {
    sessions_.emplace_back(*platform,
                           store::Options{.interruption = &platform::Interruption::Flag()});
    static_cast<void>(sessions_.back().TakeLosses());
  }
}

StoreSample Exporter::Sample(const StoreSample& also) {
  if (!store_) return TakeSample(platform_, nullptr, also);
  // In a session of its own: damage is told once, and then as that of the mail that has it.
  std::optional<store::Store> session;
  {
    const platform::Interruption::Pause pause;
    session.emplace(platform_, store::Options{.interruption = &platform::Interruption::Flag()});
  }
  return TakeSample(platform_, &*session, also);
}

std::vector<std::string> Exporter::FolderNames() const {
  std::vector<std::string> names;
  if (!store_) return names;
  for (const store::Cabinet& cabinet : store_->cabinets()) {
    for (const store::Folder& folder : cabinet.folders)
      names.push_back(cabinet.name + '/' + folder.name);
  }
  return names;
}

const Account& Exporter::Run(ExportTarget& target) {
  account_.isReadable = target.isReadable();
  try {
    if (store_) ExportMails(target);
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
  if (current_ != nullptr) account.Append(current_->InterruptedAccount());
  account.isInterrupted = true;
  return account;
}

void Exporter::ExportMails(ExportTarget& target) {
  ArchiveNames& names = target.names();
  const MailSources listed = ListedSources(*store_, names);
  target.KeepNames();
  for (const std::filesystem::path& cabinet : names.cabinets())
    MakeCabinet(target, cabinet);
  ExportSources(target, listed);
  if (options_.hasDeleted && !platform::Interruption::IsRequested()) ExportDeleted(target, names);
  if (platform::Interruption::IsRequested()) return;
  store::MailList list = ReadMailList(target, listed);
  if (options_.hasUnlisted) {
    store::MailList counts;
    std::swap(counts.unlisted, list.unlisted);
    ExportUnlisted(target, std::move(counts), listed, names);
  } else {
    LeaveOut(target, list, listed);
  }
  if (platform::Interruption::IsRequested()) return;
  // Of folders that were not asked for nothing is known.
  if (options_.choice.folders.empty()) StrikeBalance(list);
  NameMissingSources();
}

void Exporter::NameMissingSources() {
  for (const std::string& chosen : options_.choice.folders) {
    if (IsBesideFolders(chosen) &&
        std::ranges::find(account_.folders, chosen, &FolderAccount::name) ==
            account_.folders.end()) {
      account_.failures.push_back(RemarkOn(chosen, "there is nothing of this name"));
    }
  }
}

void Exporter::MakeCabinet(ExportTarget& target, const std::filesystem::path& cabinet) {
  if (!cabinets_.insert(cabinet).second) return;
  try {
    target.BeginCabinet(paths_.CabinetPath(cabinet));
  } catch (const std::system_error& error) {
    if (!ConcernsName(error.code())) throw;
    account_.failures.push_back(RemarkOn(PathToUtf8(cabinet), error.what()));
  }
}

void Exporter::ExportSources(ExportTarget& target, const MailSources& sources) {
  const std::set<const MailSource*> chosen = ChosenSources(options_.choice, *store_, sources);
  for (const std::unique_ptr<MailSource>& source : sources) {
    if (platform::Interruption::IsRequested()) return;
    if (!chosen.contains(source.get())) {
      found_.push_back({.name = source->Name(), .mailCount = std::nullopt});
      failures_.emplace_back();
      continue;
    }
    MakeCabinet(target, source->path().parent_path());
    ExportSource(*source, target);
  }
}

void Exporter::ExportSource(const MailSource& source, ExportTarget& target) {
  std::filesystem::path path = paths_.Take(source.path());
  path += FolderEnding(form_);
  SourceExport work(source, *store_, options_.choice, progress_, PathToGenericUtf8(path),
                    target.index());
  std::vector<store::Store*> sessions;
  for (store::Store& session : sessions_)
    sessions.push_back(&session);
  work.ReadAlsoIn(std::move(sessions));
  current_ = &work;
  const auto settleIndex = [&] {
    if (target.index() == nullptr) return;
    target.index()->DropLast(work.waiting());
    target.index()->Settle();
  };
  const auto end = [&](bool isWhole) {
    current_ = nullptr;
    account_.Append(work.account());
    if (source.kind() != SourceKind::Listed && source.kind() != SourceKind::Repeated) return;
    found_.push_back(
        {.name = source.Name(), .mailCount = isWhole ? work.mailCount() : std::nullopt});
    failures_.push_back(work.failure());
  };
  try {
    const std::unique_ptr<FolderWriter> writer = OpenFolder(target, path, work);
    if (writer) work.Run(*writer);
  } catch (...) {
    end(false);
    try {
      settleIndex();
    } catch (const std::system_error&) {
      // The failure before this one is the one to report.
    }
    throw;
  }
  end(true);
  settleIndex();
  progress_.EndFolder(account_.folders.back());
}

void Exporter::ExportDeleted(ExportTarget& target, ArchiveNames& names) {
  MailSources sources;
  try {
    const platform::Interruption::Pause pause;
    sources = DeletedSources(*store_, names);
    account_.deleted = store_->FindDeleted().counts();
  } catch (const store::Error& error) {
    account_.failures.push_back(RemarkOn(DELETED_MAILS, error.reason()));
  }
  account_.AddLosses(RemarkOn(DELETED_MAILS, {}), store_->TakeLosses());
  target.KeepNames();
  ExportSources(target, sources);
}

std::unique_ptr<FolderWriter> Exporter::OpenFolder(ExportTarget& target,
                                                   const std::filesystem::path& path,
                                                   SourceExport& work) {
  try {
    return target.OpenFolder(path);
  } catch (const std::system_error& error) {
    if (!ConcernsName(error.code())) throw;
    work.Fail(error.what());
    return nullptr;
  }
}

store::MailList Exporter::ReadMailList(ExportTarget& target, const MailSources& listed) {
  std::map<std::int32_t, std::size_t> failed;  // sources by the numbers of their folders
  for (std::size_t i = 0; i < listed.size(); ++i)
    if (!failures_[i].empty() && listed[i]->kind() == SourceKind::Listed)
      failed.emplace(listed[i]->folderNumber().value_or(0), i);
  progress_.Begin(Activity::Balancing, {});
  store::RowVisitor visit;
  if (target.index() != nullptr && !failed.empty()) {
    visit = [&](const store::MailEntry& mail, std::int32_t folder) {
      const auto found = failed.find(folder);
      if (found == failed.end() || !store::IsListedMailKind(mail.dataType)) return;
      IndexRow row = RowOf(mail, *listed[found->second]);
      row.status = RowStatus::Failed;
      row.reason = failures_[found->second];
      target.index()->Add(row);
    };
  }
  const platform::Interruption::Pause pause;
  return store::ReadMailList(platform_, visit);
}

void Exporter::ExportUnlisted(ExportTarget& target, store::MailList list, const MailSources& listed,
                              ArchiveNames& names) {
  const MailSources sources = NotListedSources(list, listed, names);
  target.KeepNames();
  ExportSources(target, sources);
  if (!platform::Interruption::IsRequested()) ExportUnnamedFiles(target, names);
}

void Exporter::ExportUnnamedFiles(ExportTarget& target, ArchiveNames& names) {
  store::UnnamedFiles files;
  try {
    const platform::Interruption::Pause pause;
    files = store_->FindUnnamedMimeFiles();
  } catch (const store::Error& error) {
    account_.failures.push_back(RemarkOn(NO_MAIL, error.reason()));
  }
  account_.AddLosses(RemarkOn(NO_MAIL, {}), store_->TakeLosses());
  for (const std::string& name : files.unusable)
    account_.failures.push_back(RemarkOn(NO_MAIL, name + ": has no name in code page 932"));
  if (options_.hasDeleted) LeaveOutDeleted(files.names);
  if (files.names.empty()) return;
  MailSources sources;
  sources.push_back(NoMailSource(std::move(files.names), names));
  target.KeepNames();
  ExportSources(target, sources);
}

void Exporter::LeaveOutDeleted(std::vector<std::string>& files) {
  std::set<std::string> deleted;
  for (const store::DeletedMail& mail : store_->FindDeleted().mails())
    deleted.insert(text::AsciiLower(mail.mimeFile));
  std::erase_if(files,
                [&](const std::string& name) { return deleted.contains(text::AsciiLower(name)); });
}

void Exporter::LeaveOut(ExportTarget& target, const store::MailList& list,
                        const MailSources& listed) {
  LeftOutRows rows = DescribeUnlisted(list);
  std::ranges::move(rows.unlisted, std::back_inserter(account_.unlisted));
  std::ranges::move(rows.leftOut, std::back_inserter(account_.leftOut));
  if (target.index() == nullptr) return;
  for (const auto& [number, mails] : list.unlisted) {
    for (const store::MailEntry& mail : mails.mails) {
      const bool isInFolder = mails.listedFolder && *mails.listedFolder < listed.size();
      IndexRow row = isInFolder ? RowOf(mail, *listed[*mails.listedFolder]) : IndexRow();
      row.number = mail.dataNo;
      row.kind = mail.dataType;
      row.status = RowStatus::NotListed;
      row.reason = isInFolder ? "mails of this kind are not listed" : "the folder is not listed";
      target.index()->Add(row);
    }
  }
}

void Exporter::StrikeBalance(const store::MailList& list) {
  std::ranges::move(FindMissingRows(list, found_), std::back_inserter(account_.failures));
  RowCounts rows;
  rows.found = static_cast<std::int64_t>(list.rowCount);
  for (const FolderAccount& folder : account_.folders) {
    if (folder.kind != SourceKind::Listed && folder.kind != SourceKind::NotListed) continue;
    rows.written += folder.counts.written;
    rows.alreadyThere += folder.counts.alreadyThere;
    rows.skipped += folder.counts.skipped;
    rows.failed += folder.counts.failed;
    rows.notChosen += folder.counts.notChosen;
  }
  if (!options_.hasUnlisted) {
    for (const auto& [number, mails] : list.unlisted)
      rows.notListed += static_cast<std::int64_t>(mails.mails.size());
  }
  const std::int64_t known = rows.written + rows.alreadyThere + rows.skipped + rows.failed +
                             rows.notListed + rows.notChosen;
  // Of folders that cannot be read, which are named among the failures.
  rows.failed += std::max<std::int64_t>(rows.found - known, 0);
  account_.rows = rows;
}

void Exporter::ExportContacts(ExportTarget& target) {
  progress_.Begin(Activity::Contacts, {});
  std::vector<store::Problem> losses;
  try {
    std::optional<store::OpenAddressBook> book;
    {
      const platform::Interruption::Pause pause;
      book.emplace(platform_, losses,
                   store::Options{.interruption = &platform::Interruption::Flag()});
    }
    const WrittenContacts contacts = target.WriteContacts(book->book());
    account_.contacts = contacts.count;
    account_.contactsFile = contacts.fileName;
    if (!contacts.remark.empty()) {
      account_.notes.push_back(RemarkOn(ADDRESS_BOOK, contacts.remark));
    }
    for (const store::Problem& note : book->notes())
      account_.leftOut.push_back(RemarkOn(ADDRESS_BOOK, note.Describe()));
  } catch (const store::Error& error) {
    account_.failures.push_back(RemarkOn(ADDRESS_BOOK, error.reason()));
  }
  account_.AddLosses(RemarkOn(ADDRESS_BOOK, {}), losses);
}

}  // namespace nimport::archive
