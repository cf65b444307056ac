// The version text in an executable (PE32 or PE32+).
#ifndef NIMPORT_PLATFORM_FORMATS_PE_VERSION_RESOURCE_H_
#define NIMPORT_PLATFORM_FORMATS_PE_VERSION_RESOURCE_H_

#include <optional>
#include <string>

#include "common/random_access_file.h"

namespace nimport::platform {

// The text "\StringFileInfo\041104b0\FileVersion" of the version resources: of the Japanese one,
// else of the first that has it. Empty when none has it or the file is damaged on the way there.
// Throws FileError when it cannot be read.
[[nodiscard]] std::optional<std::u16string> FindFileVersion(const RandomAccessFile& file);

}  // namespace nimport::platform

#endif  // NIMPORT_PLATFORM_FORMATS_PE_VERSION_RESOURCE_H_
