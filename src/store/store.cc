#include "store/store.h"

#include <new>

#include "common/failure.h"
#include "common/file_error.h"
#include "platform/formats/windows_path.h"
#include "store/addressbook/address_book_loader.h"
#include "store/addressbook/address_table.h"
#include "store/folder_list.h"
#include "store/folder_name.h"
#include "store/installation.h"
#include "store/known_objects.h"
#include "store/mails/mail_text.h"
#include "store/mails/mime_file_names.h"
#include "store/mails/stored_file.h"

namespace nimport::store {
namespace {

constexpr const char* ADDRESS_TABLE = "AddressBookTBL";

// Runs `work`; what it throws becomes an Error, or Interrupted.
template <typename Work>
auto Guarded(Work&& work) -> decltype(work()) {
  try {
    return work();
  } catch (const jet::Interrupted&) {
    throw Interrupted();
  } catch (const jet::DatabaseError& error) {
    throw Error(ToProblem(error));
  } catch (const Failure& failure) {
    throw Error({.reason = failure.what()});
  } catch (const FileError& error) {
    throw Error({.reason = error.what()});
  } catch (const std::bad_alloc&) {
    throw Error({.reason = "out of memory"});
  }
}

std::string Convert(const text::CodePageConverter& text, std::string_view bytes, unsigned from,
                    unsigned to) {
  return text.FromUtf16(text.ToUtf16(bytes, from), to);
}

// A field whose value something depends on. Throws Error for one that cannot be read.
std::optional<std::string> Require(const TextField& field) {
  if (field.problem) throw Error(*field.problem);
  return field.value;
}

std::string OwnName(const std::string& path) {
  const auto parsed = platform::ParseWindowsPath(path);
  return parsed && !parsed->parts.empty() ? parsed->parts.back() : std::string();
}

}  // namespace

OpenDatabase::OpenDatabase(platform::Platform& platform, const text::PathText& directory,
                           std::string_view databaseFile, jet::KnownObjects known,
                           const Options& options, unsigned textCodePage)
    : path_(RequireDatabase(platform, directory, databaseFile).str()),
      fileName_(platform.files().NativeName(path_)) {
  jet::OpenOptions opening;
  opening.textCodePage = textCodePage;
  opening.known = std::move(known);
  if (platform.IsSalvaging()) opening.damageListener = this;
  opening.interruption = options.interruption;
  try {
    database_ =
        jet::Database::Open(platform.files().OpenForReading(path_), platform.text(), opening);
  } catch (const std::bad_alloc&) {
    FailDatabase("no memory to open " + fileName_);
  }
}

OpenDatabase::~OpenDatabase() = default;

void OpenDatabase::OnDamage(const jet::DatabaseError& damage) {
  losses_.push_back(ToProblem(damage));
}

std::vector<Problem> OpenDatabase::TakeLosses() {
  return std::exchange(losses_, {});
}

MailRecord OpenFolder::Read(std::size_t position, ColumnsWanted wanted) const {
  return store_.Read(mails_[position], wanted);
}

Store::Store(platform::Platform& platform, const Options& options)
    : platform_(platform), options_(options) {
  Guarded([&] {
    directory_ = FindDatabaseDirectory(platform_);
    memberId_ = ToUtf8(FindMemberId(platform_).str());
    database_ = OpenMailDatabase(text::CODE_PAGE_UTF8);
    linkedFiles_ = LinkedFiles(ToUtf8(LINKED_FILE_QUERY));
    ListFolders();
  });
}

Store::~Store() = default;

std::unique_ptr<OpenDatabase> Store::OpenMailDatabase(unsigned codePage) const {
  return std::make_unique<OpenDatabase>(platform_, directory_, MAIL_DATABASE_FILE,
                                        KnownMailObjects(platform_.text(), codePage), options_,
                                        codePage);
}

void Store::ListFolders() {
  FolderList folders(TextLimits::None);
  try {
    if (platform_.IsSalvaging()) {
      folders.Salvage(database_->get(), [this](const jet::DatabaseError& error) {
        database_->AddLoss(ToProblem(error));
      });
    } else {
      folders.Load(database_->get());
    }
  } catch (const Failure& failure) {
    failedListing_ = failure.what();
  } catch (const jet::Interrupted&) {
    throw;
  } catch (const jet::DatabaseError& error) {
    failedListing_ = ToProblem(error).Describe();
  }
  for (std::int32_t i = 0; const auto cabinet = folders.FindChild(-1, i); ++i) {
    Cabinet& listed = cabinets_.emplace_back();
    listed.name = EscapeUtf8FolderName(folders.At(*cabinet).name);
    for (std::int32_t k = 0; const auto folder = folders.FindChild(*cabinet, k); ++k) {
      const FolderRecord record = folders.At(*folder);
      listed.folders.push_back(
          {.number = record.number, .name = EscapeUtf8FolderName(record.name)});
    }
  }
}

OpenFolder Store::Open(const Folder& folder) {
  return Guarded(
      [&] { return OpenFolder(*this, ReadFolderMails(database_->get(), folder.number)); });
}

MailRecord Store::Read(const MailEntry& mail, ColumnsWanted wanted) {
  return Guarded([&] {
    if (!IsListedMailKind(mail.dataType)) {
      if (!unlistedRows_) unlistedRows_.emplace(database_->get());
      return unlistedRows_->Read(mail.dataType, mail.dataNo);
    }
    const std::string_view query = LookupMailKind(mail.dataType).queryName;
    return RowsOf(query).Read(mail.dataType, mail.dataNo, wanted);
  });
}

MailRows& Store::RowsOf(std::string_view queryName) {
  const auto known = rows_.find(queryName);
  if (known != rows_.end()) return known->second;
  return rows_.try_emplace(queryName, database_->get(), ToUtf8(queryName)).first->second;
}

std::string Store::ReadMimeFile(const MailRecord& record) {
  return Guarded([&] {
    const platform::StoredPath path = MimePathOf(record);
    try {
      return NormalizeLineEnds(platform::ReadWholeFile(*platform_.files().OpenStored(path)));
    } catch (const FileMissing& error) {
      FailInvalid(error.Explain("MIME file"));
    } catch (const std::bad_alloc&) {
      FailDatabase("no memory for the MIME file " + platform_.files().NativeName(path.path));
    }
  });
}

std::optional<std::string> Store::ReadRawText(const MailRecord& record) {
  if (record.recoveredText) return record.recoveredText;
  return Guarded([&] {
    if (!IsListedMailKind(record.dataType)) return ToCodePage932(Require(record.text));
    const std::string_view query = LookupMailKind(record.dataType).queryName;
    MailRows& rows = rawRows_.try_emplace(query, RawDatabase(), query).first->second;
    return Require(rows.Read(record.dataType, record.number, ColumnsWanted::OfMail).text);
  });
}

jet::Database& Store::RawDatabase() {
  if (!rawDatabase_) rawDatabase_ = OpenMailDatabase(text::CODE_PAGE_JAPANESE);
  return rawDatabase_->get();
}

platform::StoredPath Store::MimePathOf(const MailRecord& record) const {
  return MimeFilePath(directory_, ToCodePage932(Require(record.fileLink)));
}

const DeletedMails& Store::FindDeleted() {
  return Guarded([&]() -> const DeletedMails& {
    if (deletedMails_) return *deletedMails_;
    DeletedMailsContext context{.text = platform_.text(),
                                .rawDatabase = [this]() -> jet::Database& { return RawDatabase(); },
                                .hasMimeFile =
                                    [this](const MailRecord& record) {
                                      try {
                                        (void)platform_.files().OpenStored(MimePathOf(record));
                                        return true;
                                      } catch (const Failure&) {
                                        return false;
                                      } catch (const FileError&) {
                                        return false;
                                      }
                                    }};
    deletedMails_ = std::make_unique<DeletedMails>(database_->get(), std::move(context));
    return *deletedMails_;
  });
}

RecoveredMail Store::ReadDeleted(const DeletedMail& mail) {
  return Guarded([&] { return deletedMails_->Read(mail); });
}

StoredFile Store::ReadStoredFile(const MailRecord& record) {
  return Guarded([&] {
    std::optional<std::string> path = Require(record.fileLink);
    if (record.content == MailContent::MimeFile) {
      path = ToUtf8(MimeFilePath(directory_, ToCodePage932(path)).path);
    }
    if (record.content == MailContent::LinkedFile) {
      if (!path) FailInvalid("the mail names no received file");
      path = linkedFiles_.FindPath(database_->get(), *path,
                                   platform_.files().FindChangeStamp(database_->path()));
    }
    path = ToCodePage932(path);
    std::string bytes = ReadStoredBytes(platform_.files(), directory_, path);
    return StoredFile{.name = ToUtf8(OwnName(*path)), .bytes = std::move(bytes)};
  });
}

UnnamedFiles Store::FindUnnamedMimeFiles() {
  return Guarded([&] {
    MimeFileNames names(platform_, directory_);
    names.LeaveOutThoseOf(database_->get());
    return UnnamedFiles{.names = names.Rest(), .unusable = names.unusable()};
  });
}

std::string Store::ToUtf8(std::string_view codePage932) const {
  return Convert(platform_.text(), codePage932, text::CODE_PAGE_JAPANESE, text::CODE_PAGE_UTF8);
}

std::optional<std::string> Store::ToCodePage932(const std::optional<std::string>& text) const {
  if (!text) return std::nullopt;
  return Convert(platform_.text(), *text, text::CODE_PAGE_UTF8, text::CODE_PAGE_JAPANESE);
}

OpenAddressBook::OpenAddressBook(platform::Platform& platform, std::vector<Problem>& losses,
                                 const Options& options) {
  Guarded([&] {
    OpenDatabase database(platform, FindDatabaseDirectory(platform), ADDRESS_DATABASE_FILE,
                          addressbook::KnownAddressObjects(), options);
    const auto about = [&database](std::string reason) {
      return Problem{
          .reason = std::move(reason), .file = database.fileName(), .table = ADDRESS_TABLE};
    };
    const auto takeLosses = [&] {
      for (Problem& loss : database.TakeLosses())
        losses.push_back(std::move(loss));
    };
    addressbook::RowsLeftOut leftOut;
    try {
      leftOut = platform.IsSalvaging()
                    ? addressbook::SalvageAddressBook(
                          database.get(), book_,
                          [&](const std::string& reason) { database.AddLoss(about(reason)); },
                          TextLimits::None)
                    : addressbook::LoadAddressBook(database.get(), book_, TextLimits::None);
    } catch (...) {
      takeLosses();
      throw;
    }
    takeLosses();
    if (std::string sentence = addressbook::Describe(leftOut); !sentence.empty()) {
      notes_.push_back(about(std::move(sentence)));
    }
  });
}

}  // namespace nimport::store
