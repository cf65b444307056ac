#ifndef NIMPORT_ARCHIVE_EXPORT_PROGRESS_H_
#define NIMPORT_ARCHIVE_EXPORT_PROGRESS_H_

#include <cstdint>
#include <string>

#include "archive/account.h"

namespace nimport::archive {

// Hears how far an export is.
class ExportProgress {
 public:
  virtual ~ExportProgress() = default;
  virtual void BeginFolder(const std::string& name, std::int32_t mailCount) = 0;
  // After each mail.
  virtual void Step(std::int32_t done) = 0;
  virtual void EndFolder(const FolderAccount& folder) = 0;
};

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_EXPORT_PROGRESS_H_
