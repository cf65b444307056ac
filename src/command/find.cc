// nimport find: where are stores, and how are they named?
#include <algorithm>
#include <chrono>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "command/commands.h"
#include "command/json_text.h"
#include "command/progress.h"
#include "common/utf8_path.h"
#include "platform/interruption.h"
#include "platform/stored_path.h"
#include "store/installation.h"
#include "store/mails/mail_list.h"
#include "store/problem.h"
#include "store/search/store_search.h"
#include "store/search/stored_drives.h"
#include "text/ascii.h"
#include "text/visible.h"

namespace nimport::command {

namespace {

namespace fs = std::filesystem;
using nlohmann::ordered_json;

// Searches one set of directories; with the progress of it.
class Finder {
 public:
  explicit Finder(const std::vector<fs::path>& roots) : roots_(roots) {
    for (const fs::path& root : roots_)
      RequireDirectory(root);
  }

  [[nodiscard]] ordered_json Run() {
    result_ = store::SearchStores(roots_, text_, [this](const fs::path& path) { Watch(path); });
    DropCopies();
    for (const store::FoundStore& store : result_.stores)
      drives_.push_back(ReadDrives(store));
    ordered_json json = {{"stores", ordered_json::array()}, {"unreadable", ordered_json::array()}};
    for (std::size_t i = 0; i < result_.stores.size(); ++i)
      json["stores"].push_back(Describe(result_.stores[i], drives_[i]));
    for (const store::UnreadableDirectory& directory : result_.unreadable) {
      json["unreadable"].push_back(
          {{"directory", PathToUtf8(directory.directory)}, {"reason", directory.reason}});
    }
    return json;
  }

 private:
  void Watch(const fs::path& directory) {
    if (platform::Interruption::IsRequested()) throw store::Interrupted();
    const auto now = std::chrono::steady_clock::now();
    if (now - lastShown_ < std::chrono::milliseconds(100)) return;
    lastShown_ = now;
    progress_.Show("searching " + PathToUtf8(directory));
  }

  // A directory may be reached by several ways.
  void DropCopies() {
    std::set<fs::path> known;
    std::erase_if(result_.stores, [&](const store::FoundStore& store) {
      return !known.insert(fs::canonical(store.directory)).second;
    });
  }

  // The registry of the store: of those that name its directory the nearest, or the only one there
  // is.
  [[nodiscard]] const store::FoundRegistry* FindRegistry(const store::FoundStore& store) const {
    const store::FoundRegistry* nearest = nullptr;
    std::ptrdiff_t mostParts = -1;
    for (const store::FoundRegistry& registry : result_.registries) {
      const bool namesStore = registry.databaseDirectory &&
                              store::EndsLike(store.directory, *registry.databaseDirectory, text_);
      const fs::path& file = registry.files.front();
      const auto parting = std::ranges::mismatch(file, store.directory).in1;
      const std::ptrdiff_t parts = std::distance(file.begin(), parting);
      if (!namesStore || parts <= mostParts) continue;
      nearest = &registry;
      mostParts = parts;
    }
    const bool isOnly = result_.registries.size() == 1 && result_.stores.size() == 1;
    return nearest == nullptr && isOnly ? &result_.registries.front() : nearest;
  }

  [[nodiscard]] static StorePlatform Open(const store::FoundStore& found) {
    StoreLocation location;
    location.databaseDirectory = found.directory;
    return StorePlatform(location);
  }

  // With where the registry says that the databases were as one more path on its drive.
  [[nodiscard]] std::vector<store::StoredDrive> ReadDrives(const store::FoundStore& found) const {
    if (!found.hasMail) return {};
    StorePlatform platform = Open(found);
    std::vector<store::StoredDrive> drives = store::ReadStoredDrives(platform);
    const store::FoundRegistry* const registry = FindRegistry(found);
    for (store::StoredDrive& drive : drives) {
      if (registry == nullptr || !registry->databaseDirectory) continue;
      const std::string& directory = *registry->databaseDirectory;
      const bool isOnDrive = directory.size() > 1 && directory[1] == ':' &&
                             text::AsciiUpper(directory[0]) == drive.letter;
      if (isOnDrive && store::EndsLike(found.directory, directory, text_)) {
        drive.paths.push_back(directory + std::string(store::MAIL_DATABASE_FILE));
      }
    }
    return drives;
  }

  [[nodiscard]] ordered_json Describe(const store::FoundStore& found,
                                      const std::vector<store::StoredDrive>& drives) {
    progress_.Show("looking at " + PathToUtf8(found.directory));
    ordered_json json = {{"directory", PathToUtf8(found.directory)},
                         {"mail", found.hasMail},
                         {"addressBook", found.hasAddressBook}};
    std::vector<std::string> options = {"--from", PathToUtf8(found.directory)};
    if (found.hasMail) CountMails(found, json);
    json["drives"] = ordered_json::array();
    for (const store::StoredDrive& drive : drives) {
      json["drives"].push_back(Describe(drive, found));
      const ordered_json& described = json["drives"].back();
      if (!described.contains("directory")) continue;
      options.insert(options.end(), {"--drive", described["drive"].get<std::string>() + '=' +
                                                    described["directory"].get<std::string>()});
    }
    json["registry"] = ordered_json::array();
    const store::FoundRegistry* const registry = FindRegistry(found);
    if (registry != nullptr) {
      for (const fs::path& file : registry->files)
        json["registry"].push_back(PathToUtf8(file));
      if (registry->memberId) {
        json["member"] = platform::DisplayPath(*registry->memberId, text_);
        options.insert(options.end(), {"--member", json["member"].get<std::string>()});
      }
    }
    json["options"] = options;
    return json;
  }

  static void CountMails(const store::FoundStore& found, ordered_json& json) {
    StorePlatform platform = Open(found);
    const store::MailList list = store::ReadMailList(platform);
    std::uint64_t count = 0;
    for (const auto& [kind, rows] : list.rowsByKind)
      count += rows;
    json["mails"] = count;
    if (!list.failure.empty()) json["problem"] = list.failure;
  }

  [[nodiscard]] ordered_json Describe(const store::StoredDrive& drive,
                                      const store::FoundStore& found) {
    ordered_json json = {{"drive", std::string(1, drive.letter)}, {"files", drive.fileCount}};
    auto guess = store::GuessDrive(drive, found.directory);
    // Of an old disk, many files are gone: some are enough.
    if (!guess || guess->foundCount < drive.paths.size() / 2) {
      guess = store::GuessDrive(drive, found.directory, PathStarts());
    }
    json["tried"] = drive.paths.size();
    json["found"] = guess ? guess->foundCount : 0;
    if (guess) json["directory"] = PathToUtf8(guess->directory);
    return json;
  }

  // Where paths of any of the stores may begin. The disks are gone through for it once.
  [[nodiscard]] const std::vector<fs::path>& PathStarts() {
    if (pathStarts_) return *pathStarts_;
    std::vector<std::string> paths;
    for (const std::vector<store::StoredDrive>& drives : drives_) {
      for (const store::StoredDrive& drive : drives)
        paths.insert(paths.end(), drive.paths.begin(), drive.paths.end());
    }
    pathStarts_ =
        store::FindPathStarts(roots_, paths, text_, [this](const fs::path& path) { Watch(path); });
    return *pathStarts_;
  }

  const std::vector<fs::path>& roots_;
  const text::CodePageConverter& text_ = platform::SystemPlatform().text();
  store::SearchResult result_;
  std::vector<std::vector<store::StoredDrive>> drives_;  // by store
  std::optional<std::vector<fs::path>> pathStarts_;
  Progress progress_{Progress::Work::Reading};
  std::chrono::steady_clock::time_point lastShown_;
};

// `word` as a shell takes it whole.
std::string Quoted(const std::string& word) {
  const auto isPlain = [](char c) {
    return text::IsAsciiLetter(c) || text::IsAsciiDigit(c) ||
           std::string_view("/._-=:,+@%").find(c) != std::string_view::npos ||
           static_cast<signed char>(c) < 0;
  };
  if (!word.empty() && std::ranges::all_of(word, isPlain)) return word;
  std::string quoted = "'";
  for (const char c : word)
    quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + '\'';
}

void Print(const ordered_json& store) {
  std::cout << text::Visible(store["directory"].get<std::string>()) << '\n';
  if (store.contains("problem")) {
    std::cout << "  cannot be read: " << text::Visible(store["problem"].get<std::string>()) << '\n';
  }
  std::cout << "  ";
  if (store["mail"] == true) std::cout << store["mails"] << " mails, ";
  std::cout << (store["addressBook"] == true ? "an address book\n" : "no address book\n");
  if (store.contains("member")) {
    std::cout << "  member " << text::Visible(store["member"].get<std::string>()) << ", by "
              << text::Visible(store["registry"].back().get<std::string>()) << '\n';
  }
  for (const ordered_json& drive : store["drives"]) {
    const std::string letter = drive["drive"].get<std::string>();
    std::cout << "  drive " << letter << ": " << drive["files"] << " stored files, ";
    if (drive.contains("directory")) {
      std::cout << "likely " << text::Visible(drive["directory"].get<std::string>()) << " ("
                << drive["found"] << " of " << drive["tried"]
                << " that were looked for are there)\n";
    } else {
      std::cout << "found nowhere here: give --drive " << letter << "=DIR\n";
    }
  }
  std::cout << "  nimport export";
  for (const ordered_json& option : store["options"])
    std::cout << ' ' << text::Visible(Quoted(option.get<std::string>()));
  std::cout << " --to DIR\n";
}

}  // namespace

int RunFind(const Options& options) {
  const platform::Interruption::Pause pause;  // there is no report
  const ordered_json found = Finder(options.searchedDirectories).Run();
  for (const ordered_json& directory : found["unreadable"]) {
    std::cerr << "nimport: cannot look into "
              << text::Visible(directory["directory"].get<std::string>()) << ": "
              << text::Visible(directory["reason"].get<std::string>()) << '\n';
  }
  if (options.isJson) {
    std::cout << ToText(found);
  } else {
    for (const ordered_json& store : found["stores"])
      Print(store);
  }
  if (!found["stores"].empty()) return EXIT_ALL_DONE;
  std::cerr << "nimport: no store was found\n";
  return EXIT_SOME_FAILED;
}

}  // namespace nimport::command
