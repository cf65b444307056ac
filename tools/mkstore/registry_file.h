#ifndef NIMPORT_TOOLS_MKSTORE_REGISTRY_FILE_H_
#define NIMPORT_TOOLS_MKSTORE_REGISTRY_FILE_H_

#include <filesystem>
#include <string>
#include <vector>

#include "mkstore/store_writer.h"

namespace nimport::mkstore {

enum class RegistryHive : std::uint8_t { LocalMachine, CurrentUser };

// A string value; texts are UTF-8.
struct RegistryValue {
  RegistryHive hive{};
  std::string key;  // below the hive, with '\' between its parts
  std::string name;
  std::string text;
};

// Writes the values to `folder`: "registry.reg", or for Wine "system.reg" and "user.reg". Values of
// one key must stand together. Returns the files. Throws jetwriter::WriteError.
[[nodiscard]] std::vector<std::filesystem::path> WriteRegistry(
    const std::filesystem::path& folder, const std::vector<RegistryValue>& values,
    RegistryForm form, unsigned codePage);

}  // namespace nimport::mkstore

#endif  // NIMPORT_TOOLS_MKSTORE_REGISTRY_FILE_H_
