#include "archive/folder_writer.h"

#include "archive/formats/formats.h"

namespace nimport::archive {

const char* FolderEnding(ExportFormat format) {
  return format == ExportFormat::Mbox ? ".mbox" : "";
}

std::unique_ptr<FolderWriter> OpenFolderWriter(ExportFormat format,
                                               const std::filesystem::path& path) {
  std::filesystem::path target = path;
  target += FolderEnding(format);
  switch (format) {
    case ExportFormat::Maildir:
      return OpenMaildir(target, false);
    case ExportFormat::Mbox:
      return OpenMbox(target, false);
    case ExportFormat::Eml:
      return OpenEmlFolder(target, false);
  }
  return nullptr;
}

}  // namespace nimport::archive
