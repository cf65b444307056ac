#include "command/progress.h"

#include <iostream>

#include <unistd.h>

#include "text/visible.h"

namespace nimport::command {

namespace {

constexpr std::int32_t BAR_WIDTH = 30;
constexpr std::chrono::milliseconds DRAW_INTERVAL{100};
constexpr const char* CLEAR_LINE = "\r\x1b[K";

}  // namespace

Progress::Progress() : isTerminal_(isatty(STDERR_FILENO) == 1) {}

void Progress::BeginFolder(const std::string& name, std::int32_t mailCount) {
  name_ = text::Visible(name);
  mailCount_ = mailCount;
  if (isTerminal_) Draw(0);
}

void Progress::Step(std::int32_t done) {
  if (!isTerminal_) return;
  if (std::chrono::steady_clock::now() - lastDrawn_ >= DRAW_INTERVAL) Draw(done);
}

void Progress::EndFolder(const archive::FolderAccount& folder) {
  if (isTerminal_) std::cerr << CLEAR_LINE;
  const archive::MailCounts& counts = folder.counts;
  std::cerr << text::Visible(folder.name) << ": " << counts.found << " mails, " << counts.written
            << " written";
  if (counts.alreadyThere > 0) std::cerr << ", " << counts.alreadyThere << " already there";
  if (counts.skipped > 0) std::cerr << ", " << counts.skipped << " skipped";
  if (counts.failed > 0) std::cerr << ", " << counts.failed << " failed";
  std::cerr << '\n';
}

void Progress::Draw(std::int32_t done) {
  const std::int64_t filled = mailCount_ == 0 ? 0 : std::int64_t{BAR_WIDTH} * done / mailCount_;
  std::cerr << CLEAR_LINE << '[' << std::string(static_cast<std::size_t>(filled), '=')
            << std::string(static_cast<std::size_t>(BAR_WIDTH - filled), ' ') << "] " << done << '/'
            << mailCount_ << ' ' << name_ << std::flush;
  lastDrawn_ = std::chrono::steady_clock::now();
}

}  // namespace nimport::command
