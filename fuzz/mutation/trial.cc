#include "mutation/trial.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include <sys/stat.h>

#include "archive/contacts/vcard.h"
#include "archive/contacts/write_contacts.h"
#include "archive/exporter.h"
#include "archive/mail_contents.h"
#include "archive/store_folders.h"
#include "command/commands.h"
#include "command/progress.h"
#include "command/store_location.h"
#include "store/store.h"

// examples/walk.c, whose main function is called so here.
extern "C" int WalkStore(void);

namespace nimport::mutation {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

// Mails of every kind, few enough for a trial to take milliseconds.
constexpr const char* SMALL = R"({"template": {"mails": 40, "cabinets": 2, "folders": 5,
  "mimePercent": 30, "addresses": 30, "groups": 6, "depth": 2, "seed": 7,
  "text": {"minBytes": 60, "maxBytes": 900, "longEvery": 10, "longBytes": 9000}}})";

std::string ReadFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

template <typename Use>
void ForEachFile(const fs::path& directory, Use use) {
  if (!fs::exists(directory)) return;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(directory)) {
    if (entry.is_regular_file()) use(entry.path());
  }
}

std::multiset<std::string> SplitContacts(const std::string& text) {
  constexpr std::string_view BEGIN = "BEGIN:VCARD";
  std::multiset<std::string> cards;
  for (std::size_t begin = text.find(BEGIN); begin != std::string::npos;) {
    const std::size_t next = text.find(BEGIN, begin + 1);
    cards.insert(text.substr(begin, next == std::string::npos ? next : next - begin));
    begin = next;
  }
  return cards;
}

std::set<std::string> RemarksOf(const json& account) {
  std::set<std::string> remarks;
  for (const char* list :
       {"failures", "incomplete", "skippedMails", "notes", "unlisted", "leftOut", "losses"}) {
    for (const json& remark : account[list])
      remarks.insert(list + (": " + remark.dump()));
  }
  return remarks;
}

command::StoreLocation LocationOf(const mkstore::Store& store) {
  command::StoreLocation location;
  location.registryFiles = store.registryFiles;
  location.drives['C'] = store.driveC;
  return location;
}

class MemoryWriter final : public archive::FolderWriter {
 public:
  explicit MemoryWriter(std::multiset<std::string>& mails) : mails_(mails) {}
  Outcome Write(const archive::FinishedMail& mail, std::int32_t /*position*/,
                const std::string& /*subject*/) override {
    mails_.insert(mail.bytes);
    return Outcome::Written;
  }

 private:
  std::multiset<std::string>& mails_;
};

class MemoryTarget final : public archive::ExportTarget {
 public:
  explicit MemoryTarget(Exported& result) : result_(result) {}
  void BeginCabinet(const fs::path& /*path*/) override {}
  [[nodiscard]] std::unique_ptr<archive::FolderWriter> OpenFolder(
      const fs::path& /*path*/) override {
    return std::make_unique<MemoryWriter>(result_.mails);
  }
  std::int64_t WriteContacts(const addressbook::AddressBook& book) override {
    std::string cards;
    archive::VCardWriter writer([&](std::string_view card) { cards += card; },
                                archive::VCardVersion::V4_0);
    const std::int64_t count = archive::WriteContacts(book, writer);
    result_.contacts = SplitContacts(cards);
    return count;
  }

 private:
  Exported& result_;
};

// What the store has of the mails of a folder.
void ReadMails(store::Store& store, const archive::FolderPlace& place, Exported& result) {
  const store::OpenFolder folder = store.Open(*place.folder);
  for (std::size_t i = 0; i < folder.mailCount(); ++i) {
    try {
      const store::MailRecord record = folder.Read(i);
      const archive::MailContents contents = archive::ReadContents(store, record);
      const archive::MailHeaders headers = archive::ReadHeaders(store, record, &contents);
      result.mails.insert(headers.subject.value_or("") + '\n' + headers.from.value_or("") + '\n' +
                          headers.to.value_or("") + '\n' +
                          std::to_string(headers.instant.value_or(0)));
      result.remarks.insert(headers.problems.begin(), headers.problems.end());
    } catch (const store::Error& error) {
      result.remarks.insert(error.reason());
    }
  }
}

std::uint64_t CountCommon(const std::multiset<std::string>& one,
                          const std::multiset<std::string>& other) {
  std::vector<std::string> common;
  std::ranges::set_intersection(one, other, std::back_inserter(common));
  return common.size();
}

}  // namespace

json Result::ToJson() const {
  return {{"number", number},
          {"exitCode", exitCode},
          {"mailsExpected", mailsExpected},
          {"mailsWhole", mailsWhole},
          {"mailsOut", mailsOut},
          {"contactsExpected", contactsExpected},
          {"contactsWhole", contactsWhole},
          {"contactsOut", contactsOut},
          {"newRemarks", newRemarks},
          {"complaints", complaints}};
}

Result Result::FromJson(const json& json) {
  Result result;
  json.at("number").get_to(result.number);
  json.at("exitCode").get_to(result.exitCode);
  json.at("mailsExpected").get_to(result.mailsExpected);
  json.at("mailsWhole").get_to(result.mailsWhole);
  json.at("mailsOut").get_to(result.mailsOut);
  json.at("contactsExpected").get_to(result.contactsExpected);
  json.at("contactsWhole").get_to(result.contactsWhole);
  json.at("contactsOut").get_to(result.contactsOut);
  json.at("newRemarks").get_to(result.newRemarks);
  json.at("complaints").get_to(result.complaints);
  return result;
}

Laboratory::Laboratory(const fs::path& directory)
    : places_{.root = directory,
              .out = directory / "a" / "b" / "out",
              .temporary = directory / "a" / "b" / "tmp"} {
  fs::remove_all(directory);
  fs::create_directories(places_.temporary);
  setenv("TMPDIR", places_.temporary.c_str(), 1);
  setenv("TZ", "Asia/Tokyo", 1);
  const std::string demo = ReadFile(fs::path(NIMPORT_SOURCE_DIR) / "samples" / "demo-ja.json");
  Add("small, Jet 3", SMALL, jetwriter::JetVersion::Jet3);
  Add("small, Jet 4", SMALL, jetwriter::JetVersion::Jet4);
  Add("demo-ja, Jet 3", demo, jetwriter::JetVersion::Jet3);
  Add("demo-ja, Jet 4", demo, jetwriter::JetVersion::Jet4);
}

void Laboratory::Add(const std::string& name, const std::string& description,
                     jetwriter::JetVersion format) {
  const fs::path root = places_.out.parent_path() / ("store-" + std::to_string(made_.size()));
  mkstore::StoreOptions options;
  options.format = format;
  made_.push_back(mkstore::MakeStore(json::parse(description), root, options));
  SoundStore& sound = sound_.emplace_back(SoundStore{.name = name, .files = {}});
  ForEachFile(root, [&](const fs::path& path) {
    sound.files[fs::relative(path, root).string()] = ReadFile(path);
  });
}

void Laboratory::MeasureSound(bool isQuick) {
  expected_.clear();
  expectedStrictly_.clear();
  for (std::size_t store = 0; store < made_.size(); ++store) {
    expected_.push_back(isQuick ? ExportQuickly(store) : Export(store));
    if (isQuick) expectedStrictly_.push_back(ReadStrictly(store));
  }
}

void Laboratory::Put(std::size_t store, const std::string& file,
                     const std::optional<std::string>& bytes) {
  const fs::path path = made_[store].root / file;
  if (!bytes) {
    fs::remove(path);
    return;
  }
  std::ofstream(path, std::ios::binary | std::ios::trunc) << *bytes;
}

void Laboratory::Repair() {
  for (std::size_t store = 0; store < sound_.size(); ++store) {
    for (const auto& [name, bytes] : sound_[store].files)
      Put(store, name, bytes);
  }
  fs::remove_all(places_.temporary);
  fs::create_directory(places_.temporary);
}

void Laboratory::Walk(std::size_t store) const {
  setenv("NIMPORT_REGISTRY", made_[store].RegistryVariable().c_str(), 1);
  setenv("NIMPORT_DRIVES", made_[store].DrivesVariable().c_str(), 1);
  static_cast<void>(WalkStore());
  unsetenv("NIMPORT_REGISTRY");
  unsetenv("NIMPORT_DRIVES");
}

// As the program's main function does it.
Exported Laboratory::Export(std::size_t store) const {
  Exported result;
  fs::remove_all(places_.out);
  command::Options options;
  options.subcommand = command::Subcommand::Export;
  options.location = LocationOf(made_[store]);
  options.targetDirectory = places_.out;
  try {
    command::StorePlatform platform(options.location);
    result.exitCode = command::RunExport(platform, options);
  } catch (const std::exception& error) {
    result.exitCode = command::EXIT_CANNOT_RUN;
    result.message = error.what();
  }
  ForEachFile(places_.out, [&](const fs::path& path) {
    if (path == places_.out / "account.json") {
      const json account = json::parse(ReadFile(path));
      result.remarks = RemarksOf(account);
      if (account.contains("error")) result.message = account["error"].get<std::string>();
    } else if (path == places_.out / "contacts.vcf") {
      result.contacts = SplitContacts(ReadFile(path));
    } else {
      result.mails.insert(ReadFile(path));
    }
  });
  return result;
}

Exported Laboratory::ExportQuickly(std::size_t store) const {
  Exported result;
  try {
    command::StorePlatform platform(LocationOf(made_[store]));
    command::Progress progress;
    archive::Exporter exporter(platform, archive::ExportFormat::Maildir, progress);
    MemoryTarget target(result);
    const archive::Account& account = exporter.Run(target);
    result.message = account.abortReason;
    result.remarks = RemarksOf(account.ToJson());
    result.exitCode = !account.abortReason.empty() ? command::EXIT_CANNOT_RUN
                      : account.IsAllDone()        ? command::EXIT_ALL_DONE
                                                   : command::EXIT_SOME_FAILED;
  } catch (const std::exception& error) {
    result.exitCode = command::EXIT_CANNOT_RUN;
    result.message = error.what();
  }
  return result;
}

Exported Laboratory::ReadStrictly(std::size_t store) const {
  Exported result;
  result.exitCode = command::EXIT_ALL_DONE;
  command::StorePlatform platform(LocationOf(made_[store]), false);
  try {
    store::Store opened(platform);
    if (!opened.failedListing().empty()) result.remarks.insert(opened.failedListing());
    for (const archive::FolderPlace& place : archive::AllFolders(opened))
      ReadMails(opened, place, result);
  } catch (const store::Error& error) {
    result.remarks.insert(error.reason());
  }
  try {
    std::vector<store::Problem> losses;
    const store::OpenAddressBook open(platform, losses);
    archive::VCardWriter writer([&](std::string_view card) { result.contacts.emplace(card); },
                                archive::VCardVersion::V4_0);
    archive::WriteContacts(open.book(), writer);
  } catch (const store::Error& error) {
    result.remarks.insert(error.reason());
  }
  return result;
}

std::map<std::string, std::string> Laboratory::Surroundings() const {
  std::map<std::string, std::string> files;
  for (auto entry = fs::recursive_directory_iterator(places_.root);
       entry != fs::recursive_directory_iterator(); ++entry) {
    if (entry->path() == places_.out) {
      entry.disable_recursion_pending();
      continue;
    }
    struct stat status = {};
    lstat(entry->path().c_str(), &status);
    std::string& state = files[entry->path().string()];
    state = std::to_string(status.st_mode) + ' ' + std::to_string(status.st_ino);
    // Directories change their times when files come and go, which is seen by the files.
    if (!S_ISREG(status.st_mode)) continue;
    state += ' ' + std::to_string(status.st_size) + ' ' + std::to_string(status.st_mtim.tv_sec) +
             '.' + std::to_string(status.st_mtim.tv_nsec) + ' ' +
             std::to_string(status.st_ctim.tv_nsec);
  }
  return files;
}

Result Laboratory::Compare(const Exported& got, const Exported& expected) {
  Result result;
  result.exitCode = got.exitCode;
  result.mailsExpected = expected.mails.size();
  result.mailsWhole = CountCommon(expected.mails, got.mails);
  result.mailsOut = got.mails.size();
  result.contactsExpected = expected.contacts.size();
  result.contactsWhole = CountCommon(expected.contacts, got.contacts);
  result.contactsOut = got.contacts.size();
  for (const std::string& remark : got.remarks)
    result.newRemarks += expected.remarks.contains(remark) ? 0 : 1;
  return result;
}

Result Laboratory::TryQuickly(const Mutant& mutant) {
  Put(mutant.store, mutant.file, mutant.bytes);
  Result result = Compare(ExportQuickly(mutant.store), expected_[mutant.store]);
  const Result strict = Compare(ReadStrictly(mutant.store), expectedStrictly_[mutant.store]);
  result.number = mutant.number;
  const auto hasLosses = [](const Result& one) {
    return one.mailsOut < one.mailsExpected || one.contactsOut < one.contactsExpected;
  };
  if (hasLosses(result) && result.newRemarks == 0 && result.exitCode != command::EXIT_CANNOT_RUN) {
    result.complaints.emplace_back("a loss that is not named");
  }
  if (hasLosses(strict) && strict.newRemarks == 0) {
    result.complaints.emplace_back("a loss without an error where nothing is salvaged");
  }
  Put(mutant.store, mutant.file, sound_[mutant.store].files.at(mutant.file));
  return result;
}

Result Laboratory::Try(const Mutant& mutant) {
  Put(mutant.store, mutant.file, mutant.bytes);
  const auto before = Surroundings();
  Walk(mutant.store);
  const Exported got = Export(mutant.store);
  Result result = Compare(got, expected_[mutant.store]);
  result.number = mutant.number;

  const auto complain = [&](const std::string& text) { result.complaints.push_back(text); };
  if (Surroundings() != before) complain("something outside the target was touched");
  if (got.exitCode < 0 || got.exitCode > 2) complain("a strange exit code");
  if (got.exitCode == 2 && got.message.empty()) complain("a run that ended without a reason");
  const bool hasLostMails = result.mailsOut < result.mailsExpected;
  const bool hasLostContacts = result.contactsOut < result.contactsExpected;
  if (hasLostMails && got.exitCode == 0) complain("mails were lost, and the exit code is 0");
  // A row that became neither group nor address is named among what is left out.
  const bool hasLoss = hasLostMails || hasLostContacts;
  if (hasLoss && got.exitCode != 2 && result.newRemarks == 0) complain("a loss that is not named");
  Put(mutant.store, mutant.file, sound_[mutant.store].files.at(mutant.file));
  return result;
}

}  // namespace nimport::mutation
