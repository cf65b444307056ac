#ifndef NIMPORT_HOST_STORE_LOCATION_H_
#define NIMPORT_HOST_STORE_LOCATION_H_

#include <filesystem>
#include <string>
#include <vector>

#include "host/native_path.h"
#include "platform/temporary_directories.h"

namespace nimport::host {

// Where a store is. All empty: the plug-in's own settings, by default the Wine prefix.
struct StoreLocation {
  std::filesystem::path databaseDirectory;  // holds Cabdata.mdb; needs no registry
  std::vector<std::filesystem::path> registryFiles;
  DriveMap drives;       // added to those of the environment
  std::string memberId;  // stands for the registry's; may be empty
};

// Tells the plug-in, through this process's environment, where the store is, as long as the object
// lives. Made before the library is loaded; one object per process at a time.
class StoreSettings {
 public:
  // Throws std::runtime_error when a directory or file is not there or no drive letter is free.
  explicit StoreSettings(const StoreLocation& location);
  StoreSettings(const StoreSettings&) = delete;
  StoreSettings& operator=(const StoreSettings&) = delete;

 private:
  void SetRegistry(const StoreLocation& location, const std::string& databaseDrive);
  [[nodiscard]] std::filesystem::path LinkIfNeeded(const std::filesystem::path& target,
                                                   char separator);
  // The path of a file that is about to be made for the plug-in.
  [[nodiscard]] std::filesystem::path PrivateFile(const std::string& name);

  // Of the same kind as the plug-in's own, so that what a killed run left goes, too.
  platform::TemporaryDirectories directories_;
  std::string privateDirectory_;  // empty until it is needed
  int linkCount_ = 0;
};

// Where the plug-in looks for settings now: the registry files, there or not.
[[nodiscard]] std::vector<std::filesystem::path> RegistryFilesInUse();

}  // namespace nimport::host

#endif  // NIMPORT_HOST_STORE_LOCATION_H_
