// nimport export: all mails of the store in a form for today's programs.
#include <cerrno>
#include <deque>
#include <iostream>
#include <iterator>
#include <memory>
#include <optional>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <sys/file.h>
#include <unistd.h>

#include "archive/account.h"
#include "archive/contacts/write_contacts.h"
#include "archive/exporter.h"
#include "archive/folder_writer.h"
#include "archive/new_file.h"
#include "command/commands.h"
#include "command/json_text.h"
#include "command/progress.h"
#include "platform/interruption.h"
#include "text/visible.h"

namespace nimport::command {

namespace {

namespace fs = std::filesystem;

// The directory that is written to, for this process alone.
class TargetDirectory {
 public:
  // Throws std::runtime_error, also when another export is writing there.
  explicit TargetDirectory(const fs::path& path) {
    archive::MakeDirectories(path);
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

// Files beneath a directory.
class DirectoryTarget final : public archive::ExportTarget {
 public:
  explicit DirectoryTarget(const Options& options)
      : directory_(options.targetDirectory), form_(options.form) {
    if (form_.isDryRun) return;
    index_.emplace(directory_, archive::INDEX_CSV_NAME, archive::INDEX_JSON_NAME,
                   options.hasIndexMark);
  }

  void BeginCabinet(const fs::path& path) override {
    if (!form_.isDryRun) archive::MakeCabinet(form_.layout, directory_, path);
  }
  [[nodiscard]] std::unique_ptr<archive::FolderWriter> OpenFolder(const fs::path& path) override {
    return archive::OpenFolderWriter(form_, directory_ / path);
  }
  archive::WrittenContacts WriteContacts(const addressbook::AddressBook& book) override {
    return archive::WriteContactsFile(book, directory_, form_.isDryRun);
  }
  [[nodiscard]] archive::MailIndex* index() override { return index_ ? &*index_ : nullptr; }

 private:
  fs::path directory_;
  archive::ArchiveForm form_;
  std::optional<archive::MailIndex> index_;  // empty in a dry run
};

// For users who want to hear of nothing but faults.
class NoProgress final : public archive::ExportProgress {
 public:
  void BeginFolder(const std::string& /*name*/, std::int32_t /*mailCount*/) override {}
  void Step(std::int32_t /*done*/) override {}
  void EndFolder(const archive::FolderAccount& /*folder*/) override {}
};

// Leaves the account beside the mails, with the index.
void KeepAccount(const std::string& json, const Options& options, archive::MailIndex& index) {
  const archive::Directory directory(options.targetDirectory);
  // Directories and names that were made before are on the disk when the account is.
  directory.FlushFileSystem();
  index.PutInPlace();
  archive::NewFile file(directory, std::string(".") + archive::ACCOUNT_NAME + ".tmp");
  file.Write(json);
  file.PutInPlace(directory, archive::ACCOUNT_NAME);
}

// Prints the account and leaves it beside the mails. `index` is null where nothing is to be left.
void PutAccount(const archive::Account& account, const Options& options,
                archive::MailIndex* index) {
  const std::string json = ToText(account.ToJson());
  if (options.isJson) {
    std::cout << json;
  } else if (!options.isQuiet || !account.IsAllDone()) {
    account.Print(std::cout);
  }
  if (!account.abortReason.empty())
    std::cerr << "nimport: " << text::Visible(account.abortReason) << '\n';
  if (index != nullptr) KeepAccount(json, options, *index);
}

}  // namespace

int RunExport(StorePlatform& platform, const Options& options) {
  RequireOutsideStore(options);
  std::unique_ptr<archive::ExportProgress> progress;
  if (options.isQuiet) {
    progress = std::make_unique<NoProgress>();
  } else {
    progress = std::make_unique<Progress>();
  }
  std::deque<StorePlatform> platforms;
  archive::ExportOptions exporting = options.exporting;
  while (std::ssize(exporting.sessions) + 1 < options.jobs)
    exporting.sessions.push_back(&platforms.emplace_back(options.location));
  archive::Exporter exporter(platform, options.form, *progress, exporting);
  std::optional<TargetDirectory> lock;
  if (!options.form.isDryRun) lock.emplace(options.targetDirectory);
  DirectoryTarget target(options);
  const archive::Account* account = nullptr;
  {
    const platform::Interruption::Report report([&] {
      if (target.index() != nullptr) target.index()->DropLast(exporter.waiting());
      PutAccount(exporter.InterruptedAccount(), options, target.index());
    });
    account = &exporter.Run(target);
  }
  PutAccount(*account, options, target.index());
  if (!account->abortReason.empty()) return EXIT_CANNOT_RUN;
  return account->IsAllDone() ? EXIT_ALL_DONE : EXIT_SOME_FAILED;
}

}  // namespace nimport::command
