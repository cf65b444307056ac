#ifndef NIMPORT_ARCHIVE_FORMATS_FORMATS_H_
#define NIMPORT_ARCHIVE_FORMATS_FORMATS_H_

#include <filesystem>
#include <memory>

#include "archive/folder_writer.h"

namespace nimport::archive {

// Writers for the folder that is to be at `path`, the format's ending included. They make the
// directories that they need; a dry run makes and writes nothing.
[[nodiscard]] std::unique_ptr<FolderWriter> OpenMaildir(const std::filesystem::path& path,
                                                        bool isDryRun);
[[nodiscard]] std::unique_ptr<FolderWriter> OpenMbox(const std::filesystem::path& path,
                                                     bool isDryRun);
[[nodiscard]] std::unique_ptr<FolderWriter> OpenEmlFolder(const std::filesystem::path& path,
                                                          bool isDryRun);

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_FORMATS_FORMATS_H_
