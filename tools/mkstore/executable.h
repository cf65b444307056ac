#ifndef NIMPORT_TOOLS_MKSTORE_EXECUTABLE_H_
#define NIMPORT_TOOLS_MKSTORE_EXECUTABLE_H_

#include <optional>
#include <string>

namespace nimport::mkstore {

// A Windows program that does nothing, with a version resource whose string FileVersion, in the
// block 041104b0 (Japanese, Unicode), is `fileVersion` (UTF-8). Without one there is no resource.
[[nodiscard]] std::string MakeExecutable(const std::optional<std::string>& fileVersion);

}  // namespace nimport::mkstore

#endif  // NIMPORT_TOOLS_MKSTORE_EXECUTABLE_H_
