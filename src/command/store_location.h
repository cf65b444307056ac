#ifndef NIMPORT_COMMAND_STORE_LOCATION_H_
#define NIMPORT_COMMAND_STORE_LOCATION_H_

#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/platform.h"

namespace nimport::command {

// Directories by drive letter (capital).
using DriveMap = std::map<char, std::filesystem::path>;

// Where a store is, as the user says it. All empty: where the environment says, by default the Wine
// prefix.
struct StoreLocation {
  std::filesystem::path databaseDirectory;  // holds Cabdata.mdb; needs no registry
  std::vector<std::filesystem::path> registryFiles;
  DriveMap drives;       // added to those of the environment
  std::string memberId;  // UTF-8; stands for the registry's; may be empty, as that may be
  // In which the store's local times are read and all dates are shown, as MakeZoneClock takes it.
  std::string timeZone = "Asia/Tokyo";
};

// This system with the settings that lead to one store, in the store's time zone. Paths that stand
// in the store lead to its drives alone; no diagnostics are written. The environment stays as it
// is.
class StorePlatform final : public platform::Platform {
 public:
  // Throws std::runtime_error when a directory or file is not there, no drive letter is free or the
  // time zone is not known.
  explicit StorePlatform(const StoreLocation& location);

  [[nodiscard]] std::optional<int> PlatformId() const override { return system_->PlatformId(); }
  [[nodiscard]] std::int64_t ProcessId() const noexcept override { return system_->ProcessId(); }
  [[nodiscard]] bool IsSalvaging() const override { return true; }
  [[nodiscard]] const platform::Registry& registry() const override { return *registry_; }
  [[nodiscard]] platform::FileSystem& files() override { return system_->files(); }
  [[nodiscard]] const platform::Clock& clock() const override { return *clock_; }
  [[nodiscard]] platform::ModuleLoader& modules() override { return system_->modules(); }
  [[nodiscard]] const text::CodePageConverter& text() const override { return system_->text(); }
  [[nodiscard]] platform::DiagnosticsSink& diagnostics() override { return system_->diagnostics(); }

  // Where the store's settings come from: files that stand for the registry, there or not, and the
  // drives.
  [[nodiscard]] std::vector<std::filesystem::path> RegistryFiles() const;
  [[nodiscard]] DriveMap Drives() const;

 private:
  platform::Settings settings_;
  std::unique_ptr<platform::Platform> system_;
  std::unique_ptr<platform::Registry> registry_;
  std::unique_ptr<platform::Clock> clock_;
};

// Throws std::runtime_error, with what is wrong, unless there is a directory at `path`.
void RequireDirectory(const std::filesystem::path& path);

// The directory of the databases, however the settings lead there. Empty when they do not.
[[nodiscard]] std::optional<std::filesystem::path> FindStoreDirectory(StorePlatform& platform);

// Throws std::runtime_error when `target`, there or not, is or lies in that directory, by whatever
// name.
void RequireOutsideStore(StorePlatform& platform, const std::filesystem::path& target);

}  // namespace nimport::command

#endif  // NIMPORT_COMMAND_STORE_LOCATION_H_
