// nimport export: all mails of the store in a form for today's programs.
#include <cerrno>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <gmime/gmime.h>
#include <nlohmann/json.hpp>
#include <sys/file.h>
#include <unistd.h>

#include "host/command/account.h"
#include "host/command/commands.h"
#include "host/command/compose_mail.h"
#include "host/command/contacts.h"
#include "host/command/folder_writer.h"
#include "host/command/interruption.h"
#include "host/command/json_text.h"
#include "host/command/mail_date.h"
#include "host/command/mail_reader.h"
#include "host/command/new_file.h"
#include "host/command/progress.h"
#include "host/command/safe_name.h"
#include "host/result_error.h"

namespace nimport::command {

namespace {

namespace fs = std::filesystem;

constexpr const char* ACCOUNT_NAME = "account.json";
// Stands for a folder's name in the account.
constexpr const char* ADDRESS_BOOK = "(address book)";

// The directory that is written to, for this process alone.
class TargetDirectory {
 public:
  // Throws std::runtime_error, also when another export is writing there.
  explicit TargetDirectory(const fs::path& path) {
    fs::create_directories(path);
    descriptor_ = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor_ < 0) throw std::system_error(errno, std::generic_category(), path.string());
    if (flock(descriptor_, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
      close(descriptor_);
      throw std::runtime_error(path.string() + ": another export is writing there");
    }
  }
  ~TargetDirectory() { close(descriptor_); }
  TargetDirectory(const TargetDirectory&) = delete;
  TargetDirectory& operator=(const TargetDirectory&) = delete;

 private:
  int descriptor_ = -1;
};

void RequireOutsideStore(const Options& options) {
  if (options.location.databaseDirectory.empty()) return;
  const fs::path store = fs::weakly_canonical(options.location.databaseDirectory);
  for (fs::path path = fs::weakly_canonical(fs::absolute(options.targetDirectory));;
       path = path.parent_path()) {
    if (path == store) throw std::runtime_error("the target lies within the store");
    if (path == path.parent_path()) return;
  }
}

class Exporter {
 public:
  Exporter(const host::Library& library, const Options& options)
      : library_(library), options_(options), reader_(library) {
    const Remark list = RemarkOn("(list of folders)", reader_.session().failedListing());
    if (!list.reason.empty()) account_.failures.push_back(list);
    account_.AddLosses(list, library_.TakeLosses());
  }

  // Never throws: what ends the run early stands in the account.
  const Account& Run() {
    try {
      ExportFolders();
      if (!Interruption::IsRequested()) ExportContacts();
    } catch (const std::exception& error) {
      account_.abortReason = error.what();
    }
    account_.isInterrupted = Interruption::IsRequested();
    return account_;
  }

 private:
  static Remark RemarkOn(const std::string& folder, const std::string& reason) {
    Remark remark;
    remark.folder = folder;
    remark.reason = reason;
    return remark;
  }

  static Remark RemarkOn(const FolderAccount& folder, std::int32_t position,
                         const MailHeaders& headers, const std::string& reason) {
    Remark remark = RemarkOn(folder.name, reason);
    remark.position = position;
    remark.subject = headers.subject.value_or("");
    remark.from = headers.from.value_or("");
    remark.to = headers.to.value_or("");
    if (headers.date) remark.date = ToLocalText(InstantOfColumnDate(*headers.date));
    return remark;
  }

  void ExportFolders() {
    UniqueNames cabinetNames;
    static_cast<void>(cabinetNames.Take(ACCOUNT_NAME));
    static_cast<void>(cabinetNames.Take(CONTACTS_FILE_NAME));
    std::size_t index = 0;
    for (const host::Cabinet& cabinet : reader_.session().cabinets()) {
      const fs::path directory = cabinetNames.Take(ToSafeName(cabinet.name));
      fs::create_directories(options_.targetDirectory / directory);
      UniqueNames folderNames;
      for (const host::Folder& folder : cabinet.folders) {
        const FolderPlace place{.index = index++, .cabinet = &cabinet, .folder = &folder};
        const fs::path path = directory / folderNames.Take(ToSafeName(folder.name()));
        if (!Interruption::IsRequested()) TryToExportFolder(place, path);
      }
    }
  }

  void ExportContacts() {
    try {
      account_.contacts = WriteContactsFile(library_, options_.targetDirectory);
    } catch (const host::ResultError& error) {
      account_.failures.push_back(RemarkOn(ADDRESS_BOOK, error.reason()));
    }
    account_.AddLosses(RemarkOn(ADDRESS_BOOK, {}), library_.TakeLosses());
    for (const host::DiagnosticRecord& note : library_.TakeNotes()) {
      account_.leftOut.push_back(RemarkOn(ADDRESS_BOOK, note.Describe()));
    }
  }

  void TryToExportFolder(const FolderPlace& place, const fs::path& path) {
    FolderAccount& folder = account_.folders.emplace_back();
    folder.name = place.Name();
    folder.path = path.string() + FolderEnding(options_.format);
    try {
      ExportFolder(place, path, folder);
    } catch (const host::ResultError& error) {
      account_.failures.push_back(RemarkOn(folder.name, error.reason()));
    }
    account_.AddLosses(RemarkOn(folder.name, {}), library_.TakeLosses());
    progress_.EndFolder(folder);
  }

  void ExportFolder(const FolderPlace& place, const fs::path& path, FolderAccount& folder) {
    const std::unique_ptr<FolderWriter> writer =
        OpenFolderWriter(options_.format, options_.targetDirectory / path);
    const MailReader::OpenFolder open(reader_, place);
    folder.counts.found = open.mailCount();
    progress_.BeginFolder(folder.name, open.mailCount());
    try {
      for (std::int32_t position = 0; position < open.mailCount(); ++position) {
        if (Interruption::IsRequested()) break;
        ExportMail(open, position, *writer, folder);
        progress_.Step(position + 1);
      }
      writer->Finish();
    } catch (...) {
      if (!writer->KeepsUnfinished()) folder.counts.written = 0;
      throw;
    }
  }

  void ExportMail(const MailReader::OpenFolder& open, std::int32_t position, FolderWriter& writer,
                  FolderAccount& folder) {
    std::optional<MailHeaders> all;
    const auto askHeaders = [&] {
      if (!all) all = open.Headers(position);
    };
    MailHeaders headers;
    try {
      const MailContents contents = open.Contents(position, askHeaders);
      if (contents.HasOwnHeader()) {
        headers = FewHeaders(open.MailAt(position), contents);
      } else {
        askHeaders();
        headers = *all;
      }
      if (headers.IsEmpty() && contents.bytes.empty()) {
        ++folder.counts.skipped;
        account_.skipped.push_back(
            RemarkOn(folder, position, headers,
                     "the store holds neither headers nor contents of this mail"));
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

  // What is needed beside the header of a mail that has one of its own.
  MailHeaders FewHeaders(const host::Mail& mail, const MailContents& contents) const {
    MailHeaders headers;
    if (options_.format == ExportFormat::Eml) ReadSubject(mail, headers);
    if (!InstantOfHeader(contents.bytes)) ReadDate(mail, headers);
    return headers;
  }

  void WriteMail(const MailHeaders& headers, const MailContents& contents, std::int32_t position,
                 FolderWriter& writer, FolderAccount& folder) {
    const FinishedMail mail = ComposeMail(headers, contents, reader_.session().accountName());
    const auto outcome = writer.Write(mail, position, headers.subject.value_or(""));
    const bool isWritten = outcome == FolderWriter::Outcome::Written;
    ++(isWritten ? folder.counts.written : folder.counts.alreadyThere);
  }

  // Mails with a header of their own keep it whatever the plug-in makes of it.
  void AddNotes(const MailHeaders& headers, const MailContents& contents, std::int32_t position,
                const FolderAccount& folder) {
    if (!contents.missing.empty()) {
      account_.incomplete.push_back(RemarkOn(folder, position, headers, contents.missing));
    }
    if (contents.HasOwnHeader()) return;
    for (const std::string& problem : headers.problems) {
      account_.notes.push_back(RemarkOn(folder, position, headers, problem));
    }
  }

  const host::Library& library_;
  const Options& options_;
  MailReader reader_;
  Account account_;
  Progress progress_;
};

}  // namespace

int RunExport(const host::Library& library, const Options& options) {
  g_mime_init();
  RequireOutsideStore(options);
  Exporter exporter(library, options);
  const TargetDirectory target(options.targetDirectory);
  const Account& account = exporter.Run();
  const std::string json = ToText(account.ToJson());
  if (options.isJson) {
    std::cout << json;
  } else {
    account.Print(std::cout);
  }
  if (!account.abortReason.empty()) std::cerr << "nimport: " << account.abortReason << '\n';
  const Directory directory(options.targetDirectory);
  NewFile file(directory, std::string(".") + ACCOUNT_NAME + ".tmp");
  file.Write(json);
  file.PutInPlace(directory, ACCOUNT_NAME, std::nullopt);
  if (!account.abortReason.empty()) return EXIT_CANNOT_RUN;
  return account.IsAllDone() ? EXIT_ALL_DONE : EXIT_SOME_FAILED;
}

}  // namespace nimport::command
