#include "archive/folder_writer.h"

#include "archive/formats/formats.h"

namespace nimport::archive {

FolderWriter::Outcome FolderWriter::OutcomeFor(Present present) const {
  switch (present) {
    case Present::No:
      return Outcome::Written;
    case Present::Yes:
      return Outcome::AlreadyThere;
    case Present::Outdated:
      break;
  }
  return rewritesOutdated_ ? Outcome::Rewritten : Outcome::Outdated;
}

const char* FolderEnding(const ArchiveForm& form) {
  const bool hasEnding = form.format == ExportFormat::Mbox && form.layout != Layout::Thunderbird;
  return hasEnding ? ".mbox" : "";
}

std::unique_ptr<FolderWriter> OpenFolderWriter(const ArchiveForm& form,
                                               const std::filesystem::path& path) {
  std::unique_ptr<FolderWriter> writer;
  switch (form.format) {
    case ExportFormat::Maildir:
      writer = OpenMaildir(path, form.isDryRun);
      break;
    case ExportFormat::Mbox:
      writer = OpenMbox(path, form.isDryRun);
      break;
    case ExportFormat::Eml:
      writer = OpenEmlFolder(path, form.isDryRun);
      break;
  }
  if (!form.isDryRun) MarkFolder(form.layout, path);
  return writer;
}

}  // namespace nimport::archive
