// nimport export: all mails of the store in a form for today's programs.
#include <cerrno>
#include <deque>
#include <iostream>
#include <iterator>
#include <memory>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <sys/file.h>
#include <unistd.h>

#include "archive/account.h"
#include "archive/contacts/write_contacts.h"
#include "archive/exporter.h"
#include "archive/folder_writer.h"
#include "archive/new_file.h"
#include "archive/readable/readable_writer.h"
#include "command/commands.h"
#include "command/drive_hints.h"
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

// Whether `path` is `directory` or lies beneath it.
bool IsWithin(const fs::path& path, const fs::path& directory) {
  const fs::path outer = fs::weakly_canonical(fs::absolute(directory));
  for (fs::path inner = fs::weakly_canonical(fs::absolute(path));; inner = inner.parent_path()) {
    if (inner == outer) return true;
    if (inner == inner.parent_path()) return false;
  }
}

void RequireSoundTargets(StorePlatform& platform, const Options& options) {
  const fs::path& target = options.targetDirectory;
  const fs::path& readable = options.readableDirectory;
  RequireOutsideStore(platform, target);
  if (readable.empty()) return;
  RequireOutsideStore(platform, readable);
  if (IsWithin(target, readable) || IsWithin(readable, target))
    throw std::runtime_error("--readable and --to need directories apart from each other");
}

// Files beneath a directory.
class DirectoryTarget final : public archive::ExportTarget {
 public:
  explicit DirectoryTarget(const Options& options) : options_(options) {
    if (options.form.isDryRun) return;
    index_.emplace(options.targetDirectory, archive::INDEX_CSV_NAME, archive::INDEX_JSON_NAME,
                   options.hasIndexMark);
  }

  void BeginCabinet(const fs::path& path) override {
    const archive::ArchiveForm& form = options_.form;
    if (form.isDryRun) return;
    archive::MakeCabinet(form.layout, options_.targetDirectory, path);
    if (HasReadableDirectory())
      archive::MakeCabinet(form.layout, options_.readableDirectory, path);
  }
  [[nodiscard]] std::unique_ptr<archive::FolderWriter> OpenFolder(const fs::path& path) override {
    auto writer = OpenWriter(options_.targetDirectory / path);
    if (!options_.isReadable) return writer;
    if (!HasReadableDirectory()) return archive::OpenReadableWriter(std::move(writer), nullptr);
    return archive::OpenReadableWriter(OpenWriter(options_.readableDirectory / path),
                                       std::move(writer));
  }
  [[nodiscard]] bool isReadable() const override { return options_.isReadable; }
  archive::WrittenContacts WriteContacts(const addressbook::AddressBook& book) override {
    return archive::WriteContactsFile(book, options_.targetDirectory, options_.form.isDryRun);
  }
  [[nodiscard]] archive::MailIndex* index() override { return index_ ? &*index_ : nullptr; }

 private:
  [[nodiscard]] std::unique_ptr<archive::FolderWriter> OpenWriter(const fs::path& path) const {
    auto writer = archive::OpenFolderWriter(options_.form, path);
    if (options_.isRedo) writer->RewriteOutdated();
    return writer;
  }
  [[nodiscard]] bool HasReadableDirectory() const { return !options_.readableDirectory.empty(); }

  const Options& options_;
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
void PutAccount(const archive::Account& account, const nlohmann::ordered_json& driveHints,
                const Options& options, archive::MailIndex* index) {
  nlohmann::ordered_json whole = account.ToJson();
  if (!driveHints.empty()) whole["missingDrives"] = driveHints;
  const std::string json = ToText(whole);
  if (options.isJson) {
    std::cout << json;
  } else if (!options.isQuiet || !account.IsAllDone()) {
    account.Print(std::cout);
    for (const nlohmann::ordered_json& hint : driveHints)
      std::cout << text::Visible(ToSentence(hint)) << '\n';
  }
  if (account.undisclosed > 0) {
    std::cerr
        << "nimport: " << account.undisclosed
        << " mails that the owner sent are from \"undisclosed\", since no member ID is known: "
           "--member ID --redo puts it there\n";
  }
  if (!account.abortReason.empty())
    std::cerr << "nimport: " << text::Visible(account.abortReason) << '\n';
  if (index != nullptr) KeepAccount(json, options, *index);
}

}  // namespace

int RunExport(StorePlatform& platform, const Options& options) {
  RequireSoundTargets(platform, options);
  std::unique_ptr<archive::ExportProgress> progress;
  if (options.isQuiet) {
    progress = std::make_unique<NoProgress>();
  } else {
    progress = std::make_unique<Progress>(options.form.isDryRun ? Progress::Work::Reading
                                                                : Progress::Work::Writing);
  }
  std::deque<StorePlatform> platforms;
  archive::ExportOptions exporting = options.exporting;
  while (std::ssize(exporting.sessions) + 1 < options.jobs)
    exporting.sessions.push_back(&platforms.emplace_back(options.location));
  archive::Exporter exporter(platform, options.form, *progress, exporting);
  std::optional<TargetDirectory> lock;
  std::optional<TargetDirectory> readableLock;
  if (!options.form.isDryRun) {
    lock.emplace(options.targetDirectory);
    if (!options.readableDirectory.empty()) readableLock.emplace(options.readableDirectory);
  }
  DirectoryTarget target(options);
  const archive::Account* account = nullptr;
  {
    const platform::Interruption::Report report([&] {
      if (target.index() != nullptr) target.index()->DropLast(exporter.waiting());
      PutAccount(exporter.InterruptedAccount(), {}, options, target.index());
    });
    account = &exporter.Run(target);
  }
  nlohmann::ordered_json driveHints;
  if (!account->incomplete.empty()) driveHints = FindDriveHints(platform);
  PutAccount(*account, driveHints, options, target.index());
  if (!account->abortReason.empty()) return EXIT_CANNOT_RUN;
  return account->IsAllDone() ? EXIT_ALL_DONE : EXIT_SOME_FAILED;
}

}  // namespace nimport::command
