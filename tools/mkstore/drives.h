#ifndef NIMPORT_TOOLS_MKSTORE_DRIVES_H_
#define NIMPORT_TOOLS_MKSTORE_DRIVES_H_

#include <filesystem>
#include <string>
#include <string_view>

#include "mkstore/description.h"

namespace nimport::mkstore {

// The drives of the machine that the store comes from: drive C is the folder "c" of the store.
class Drives {
 public:
  explicit Drives(std::filesystem::path root) : root_(std::move(root)) {}

  // Where a file of a Windows path such as "C:\DATA\REPORT.LZH" lies. Names stay as they are, in
  // UTF-8. Fails at `place` when the path has no drive or leads out of it.
  [[nodiscard]] std::filesystem::path ToNative(std::string_view windowsPath,
                                               const Node& place) const;

 private:
  std::filesystem::path root_;
};

// Writes a file, and the folders that it lies in. Throws jetwriter::WriteError.
void WriteFile(const std::filesystem::path& path, std::string_view bytes);

}  // namespace nimport::mkstore

#endif  // NIMPORT_TOOLS_MKSTORE_DRIVES_H_
