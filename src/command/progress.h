#ifndef NIMPORT_COMMAND_PROGRESS_H_
#define NIMPORT_COMMAND_PROGRESS_H_

#include <chrono>
#include <cstdint>
#include <string>

#include "archive/export_progress.h"

namespace nimport::command {

// Shows on stderr how far an export is: a bar where stderr is a terminal, a line per folder
// otherwise.
class Progress final : public archive::ExportProgress {
 public:
  Progress();

  void BeginFolder(const std::string& name, std::int32_t mailCount) override;
  void Step(std::int32_t done) override;
  void EndFolder(const archive::FolderAccount& folder) override;

 private:
  void Draw(std::int32_t done);

  bool isTerminal_;
  std::string name_;
  std::int32_t mailCount_ = 0;
  std::chrono::steady_clock::time_point lastDrawn_;
};

}  // namespace nimport::command

#endif  // NIMPORT_COMMAND_PROGRESS_H_
