#ifndef NIMPORT_COMMAND_PROGRESS_H_
#define NIMPORT_COMMAND_PROGRESS_H_

#include <chrono>
#include <cstdint>
#include <string>

#include "archive/export_progress.h"

namespace nimport::command {

// Shows on stderr how far the work is: where stderr is a terminal one line, no wider than that,
// with what is being done; otherwise a line per folder.
class Progress final : public archive::ExportProgress {
 public:
  // What becomes of the mails.
  enum class Work : std::uint8_t { Reading, Writing };

  explicit Progress(Work work);
  ~Progress() override;
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // Says what is being done now, until something else is.
  void Show(const std::string& activity);

  void Begin(archive::Activity activity, const std::string& folder) override;
  void BeginFolder(const std::string& name, std::int32_t mailCount) override;
  void Step(std::int32_t done) override;
  void EndFolder(const archive::FolderAccount& folder) override;

 private:
  void Draw(std::int32_t done);
  void PutLine(const std::string& line);
  void Clear();

  Work work_;
  bool isTerminal_;
  bool isShown_ = false;
  std::string name_;  // of the folder, as it may be shown
  std::int32_t mailCount_ = 0;
  std::chrono::steady_clock::time_point lastDrawn_;
};

}  // namespace nimport::command

#endif  // NIMPORT_COMMAND_PROGRESS_H_
