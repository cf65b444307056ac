// nimport export: all mails of the store in a form for today's programs.
#include <deque>
#include <iostream>
#include <iterator>
#include <memory>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <nlohmann/json.hpp>

#include "archive/account.h"
#include "archive/contacts/write_contacts.h"
#include "archive/exporter.h"
#include "archive/folder_writer.h"
#include "archive/new_file.h"
#include "archive/readable/readable_writer.h"
#include "archive/store_register.h"
#include "command/commands.h"
#include "command/drive_hints.h"
#include "command/json_text.h"
#include "command/progress.h"
#include "platform/interruption.h"
#include "platform/output_directory.h"
#include "text/visible.h"

namespace nimport::command {

namespace {

namespace fs = std::filesystem;

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
  // The store was entered into `stores`, which outlives the object.
  DirectoryTarget(const Options& options, archive::StoreRegister& stores)
      : options_(options), stores_(stores) {
    if (options.form.isDryRun) return;
    index_.emplace(options.targetDirectory, stores.names().FileName(archive::INDEX_CSV_NAME),
                   stores.names().FileName(archive::INDEX_JSON_NAME), options.hasIndexMark);
  }

  void BeginCabinet(const fs::path& path) override {
    const archive::ArchiveForm& form = options_.form;
    if (form.isDryRun) return;
    archive::MakeCabinet(form.layout, options_.targetDirectory, path);
    if (HasReadableDirectory()) archive::MakeCabinet(form.layout, options_.readableDirectory, path);
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
    return archive::WriteContactsFile(book, options_.targetDirectory,
                                      stores_.names().FileName(archive::CONTACTS_FILE_NAME),
                                      options_.form.isDryRun);
  }
  [[nodiscard]] archive::ArchiveNames& names() override { return stores_.names(); }
  void KeepNames() override {
    if (!options_.form.isDryRun) stores_.Save();
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
  archive::StoreRegister& stores_;
  std::optional<archive::MailIndex> index_;  // empty in a dry run
};

// For users who want to hear of nothing but faults.
class NoProgress final : public archive::ExportProgress {
 public:
  void BeginFolder(const std::string& /*name*/, std::int32_t /*mailCount*/) override {}
  void Step(std::int32_t /*done*/) override {}
  void EndFolder(const archive::FolderAccount& /*folder*/) override {}
};

// Prints the account and leaves it beside the mails, with the index.
class AccountKeeper {
 public:
  explicit AccountKeeper(const Options& options) : options_(options) {}

  void Print(const archive::Account& account, const nlohmann::ordered_json& driveHints = {}) {
    nlohmann::ordered_json whole = account.ToJson();
    if (!driveHints.empty()) whole["missingDrives"] = driveHints;
    json_ = ToText(whole);
    // There is less than a second left; the next run makes them anew.
    flush_ = account.isInterrupted ? archive::Flush::No : archive::Flush::Yes;
    if (options_.isJson) {
      std::cout << json_;
    } else if (!options_.isQuiet || !account.IsAllDone()) {
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
  }

  // Leaves what was printed last. `index` may be null.
  void Keep(const std::string& name, archive::MailIndex* index) const {
    if (options_.form.isDryRun) return;
    const platform::OutputDirectory directory(options_.targetDirectory);
    // Directories and names that were made before are on the disk when the account is.
    if (flush_ == archive::Flush::Yes) directory.FlushFileSystem();
    if (index != nullptr) index->PutInPlace(flush_);
    archive::NewFile file(directory, '.' + name + ".tmp");
    file.Write(json_);
    file.PutInPlace(directory, name, flush_);
  }

 private:
  const Options& options_;
  std::string json_;
  archive::Flush flush_ = archive::Flush::Yes;
};

// Finds the store's place among those that were exported into the directory. False after an
// interruption: whose exports stand there is not known then, and only a new directory gets an
// account.
bool EnterStore(archive::Exporter& exporter, archive::StoreRegister& stores,
                const Options& options) {
  const auto giveUp = [&] {
    AccountKeeper keeper(options);
    keeper.Print(exporter.InterruptedAccount());
    if (stores.IsNew()) keeper.Keep(archive::ACCOUNT_NAME, nullptr);
  };
  try {
    const platform::Interruption::Report report(giveUp);
    stores.Enter(exporter.Sample(stores.KnownSample()), exporter.FolderNames(), options.isAdded);
    return true;
  } catch (const store::Interrupted&) {
    giveUp();
    return false;
  }
}

std::unique_ptr<archive::ExportProgress> MakeProgress(const Options& options) {
  if (options.isQuiet) return std::make_unique<NoProgress>();
  using Work = Progress::Work;
  return std::make_unique<Progress>(options.form.isDryRun ? Work::Reading : Work::Writing);
}

}  // namespace

int RunExport(StorePlatform& platform, const Options& options) {
  RequireSoundTargets(platform, options);
  const std::unique_ptr<archive::ExportProgress> progress = MakeProgress(options);
  std::deque<StorePlatform> platforms;
  archive::ExportOptions exporting = options.exporting;
  while (std::ssize(exporting.sessions) + 1 < options.jobs)
    exporting.sessions.push_back(&platforms.emplace_back(options.location));
  archive::Exporter exporter(platform, options.form, *progress, exporting);
  std::optional<platform::DirectoryLock> lock;
  std::optional<platform::DirectoryLock> readableLock;
  if (!options.form.isDryRun) {
    lock.emplace(options.targetDirectory);
    if (!options.readableDirectory.empty()) readableLock.emplace(options.readableDirectory);
  }
  archive::StoreRegister stores(options.targetDirectory);
  if (!EnterStore(exporter, stores, options)) return EXIT_SOME_FAILED;
  DirectoryTarget target(options, stores);
  AccountKeeper keeper(options);
  const auto keep = [&] {
    keeper.Keep(stores.names().FileName(archive::ACCOUNT_NAME), target.index());
  };
  const archive::Account* account = nullptr;
  {
    const platform::Interruption::Report report([&] {
      if (target.index() != nullptr) target.index()->DropLast(exporter.waiting());
      keeper.Print(exporter.InterruptedAccount());
      keep();
    });
    account = &exporter.Run(target);
  }
  nlohmann::ordered_json driveHints;
  if (!account->incomplete.empty()) driveHints = FindDriveHints(platform);
  keeper.Print(*account, driveHints);
  keep();
  if (!account->abortReason.empty()) return EXIT_CANNOT_RUN;
  return account->IsAllDone() ? EXIT_ALL_DONE : EXIT_SOME_FAILED;
}

}  // namespace nimport::command
