#include "archive/exporter.h"

#include <iterator>
#include <utility>

#include "archive/archive_names.h"
#include "archive/contacts/write_contacts.h"
#include "platform/interruption.h"
#include "store/mails/mail_list.h"

namespace nimport::archive {

namespace {

// Stand for a folder's name in the account.
constexpr const char* ADDRESS_BOOK = "(address book)";
constexpr const char* MAIL_DATABASE = "(mail database)";
constexpr const char* FOLDER_LIST = "(list of folders)";

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
    if (store_) {
      ArchiveNames names;
      const MailSources sources = ListedSources(*store_, names);
      for (const std::filesystem::path& cabinet : names.cabinets())
        target.BeginCabinet(cabinet);
      ExportSources(target, sources);
    }
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
  if (current_ != nullptr) account.Append(current_->InterruptedAccount());
  account.isInterrupted = true;
  return account;
}

void Exporter::ExportSources(ExportTarget& target, const MailSources& sources) {
  for (const std::unique_ptr<MailSource>& source : sources) {
    if (platform::Interruption::IsRequested()) return;
    ExportSource(*source, target);
  }
}

void Exporter::ExportSource(const MailSource& source, ExportTarget& target) {
  SourceExport work(source, *store_, progress_, source.path().string() + FolderEnding(format_),
                    target.index());
  current_ = &work;
  const auto end = [&](bool isWhole) {
    if (target.index() != nullptr) {
      target.index()->DropLast(work.waiting());
      target.index()->Settle();
    }
    current_ = nullptr;
    account_.Append(work.account());
    found_.push_back(
        {.name = source.Name(), .mailCount = isWhole ? work.mailCount() : std::nullopt});
  };
  try {
    work.Run(*target.OpenFolder(source.path()));
  } catch (...) {
    end(false);
    throw;
  }
  end(true);
  progress_.EndFolder(account_.folders.back());
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

}  // namespace nimport::archive
