#include "command/store_location.h"

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

#include "common/failure.h"
#include "common/utf8_path.h"
#include "platform/native_file.h"
#include "platform/settings.h"
#include "platform/zone_clock.h"
#include "store/installation.h"

namespace nimport::command {

namespace {

namespace fs = std::filesystem;

// Stands before and between the entries of a list (see platform::SplitList).
constexpr char LIST_SEPARATOR = '\0';

// A letter that the map does not use; N, or else the next one that is free.
char FreeLetter(const DriveMap& drives) {
  const std::string_view candidates = "NOPQRSTUVWXYMLKJIHGFEDBA";
  const auto isFree = [&](char letter) { return !drives.contains(letter); };
  const auto found = std::ranges::find_if(candidates, isFree);
  if (found == candidates.end()) throw std::runtime_error("no drive letter is free");
  return *found;
}

DriveMap DrivesOf(const platform::Settings& settings) {
  DriveMap drives;
  for (auto& [letter, directory] : platform::ReadDrives(settings))
    drives.insert_or_assign(letter, PathFromUtf8(directory));
  return drives;
}

std::string ToSetting(const DriveMap& drives) {
  std::string list;
  for (const auto& [letter, directory] : drives)
    list += std::string(1, LIST_SEPARATOR) + letter + '=' + PathToUtf8(directory);
  return list;
}

// Empty where the usual files are to be asked. The files of the list may be none.
std::optional<std::string> RegistrySetting(const StoreLocation& location) {
  if (location.registryFiles.empty() && location.databaseDirectory.empty()) return std::nullopt;
  std::string list(1, LIST_SEPARATOR);
  for (const fs::path& file : location.registryFiles) {
    // The registry would count as empty.
    static_cast<void>(platform::OpenNativeFile(PathToUtf8(file)));
    list += PathToUtf8(fs::absolute(file)) + LIST_SEPARATOR;
  }
  return list;
}

// The system's registry beneath what the user has said.
class RegistryWithAnswers final : public platform::Registry {
 public:
  // Texts are in code page 932; empty ones are left to `system`.
  RegistryWithAnswers(const Registry& system, std::string databaseDirectory, std::string memberId)
      : system_(system),
        databaseDirectory_(std::move(databaseDirectory)),
        memberId_(std::move(memberId)) {}

  [[nodiscard]] std::optional<std::string> ReadString(platform::RegistryHive hive,
                                                      std::string_view key,
                                                      std::string_view valueName) const override {
    // In either hive: the platform family decides which one is asked for the directory.
    const bool isDirectory =
        key == store::DIRECTORY_KEY && valueName == store::DATABASE_DIRECTORY_VALUE;
    if (isDirectory && !databaseDirectory_.empty()) return databaseDirectory_;
    const bool isMember = key == store::SESSION_KEY && valueName == store::MEMBER_ID_VALUE;
    if (isMember && !memberId_.empty()) return memberId_;
    const std::optional<std::string> value = system_.ReadString(hive, key, valueName);
    // A store whose owner nobody knows can be read all the same.
    return isMember && !value ? std::optional<std::string>("") : value;
  }

 private:
  const Registry& system_;
  std::string databaseDirectory_;
  std::string memberId_;
};

}  // namespace

StorePlatform::StorePlatform(const StoreLocation& location)
    : clock_(platform::MakeZoneClock(location.timeZone)) {
  if (clock_ == nullptr) throw std::runtime_error(location.timeZone + ": no such time zone");
  const platform::Settings environment = platform::EnvironmentSettings();
  DriveMap drives = DrivesOf(environment);
  for (const auto& [letter, directory] : location.drives) {
    RequireDirectory(directory);
    drives.insert_or_assign(letter, fs::absolute(directory));
  }
  std::string databaseDrive;
  if (!location.databaseDirectory.empty()) {
    RequireDirectory(location.databaseDirectory);
    const char letter = FreeLetter(drives);
    drives.emplace(letter, fs::absolute(location.databaseDirectory));
    databaseDrive = std::string(1, letter) + ':';
  }
  settings_ = [environment, drives = ToSetting(drives), registry = RegistrySetting(location)](
                  const char* name) -> std::optional<std::string> {
    const std::string_view asked = name;
    // Whatever paths a store holds, no file of this machine gets into an export.
    if (asked == "NIMPORT_CONFINE") return "1";
    if (asked == "NIMPORT_SALVAGE") return "1";
    if (asked == "NIMPORT_DIAGNOSTICS") return std::nullopt;
    if (asked == "NIMPORT_DRIVES" && !drives.empty()) return drives;
    if (asked == "NIMPORT_REGISTRY" && registry) return registry;
    return environment(name);
  };
  system_ = platform::MakePlatform(settings_);
  registry_ = std::make_unique<RegistryWithAnswers>(
      system_->registry(), databaseDrive,
      text().FromUtf16(text().ToUtf16(location.memberId, text::CODE_PAGE_UTF8),
                       text::CODE_PAGE_JAPANESE));
}

void RequireDirectory(const fs::path& path) {
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  if (status.type() == fs::file_type::not_found) {
    throw std::runtime_error(PathToUtf8(path) + ": no such directory");
  }
  if (error) throw std::runtime_error(PathToUtf8(path) + ": " + error.message());
  if (!fs::is_directory(status)) throw std::runtime_error(PathToUtf8(path) + ": is no directory");
}

std::optional<fs::path> FindStoreDirectory(StorePlatform& platform) {
  try {
    // The directory may be a drive's root, which needs its separator.
    const std::string directory = store::FindDatabaseDirectory(platform).str() + '\\';
    return PathFromUtf8(platform.files().NativeName(directory));
  } catch (const Failure&) {
    return std::nullopt;
  }
}

void RequireOutsideStore(StorePlatform& platform, const fs::path& target) {
  const std::optional<fs::path> store = FindStoreDirectory(platform);
  if (!store) return;
  for (fs::path path = fs::weakly_canonical(fs::absolute(target));; path = path.parent_path()) {
    // The very directory, whatever links, mounts or spellings lead there.
    std::error_code error;
    if (fs::equivalent(path, *store, error)) {
      throw std::runtime_error(PathToUtf8(target) + " lies within the store " + PathToUtf8(*store));
    }
    if (path == path.parent_path()) return;
  }
}

std::vector<fs::path> StorePlatform::RegistryFiles() const {
  const std::vector<std::string> files = platform::RegistryFilesInUse(settings_);
  return {files.begin(), files.end()};
}

DriveMap StorePlatform::Drives() const {
  return DrivesOf(settings_);
}

}  // namespace nimport::command
