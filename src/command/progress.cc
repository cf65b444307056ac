#include "command/progress.h"

#include <algorithm>
#include <iostream>
#include <utility>

#include "platform/terminal.h"
#include "text/visible.h"

namespace nimport::command {

namespace {

using archive::Activity;

constexpr std::size_t MAX_BAR_WIDTH = 30;
constexpr std::chrono::milliseconds DRAW_INTERVAL{100};
constexpr const char* CLEAR_LINE = "\r\x1b[K";

std::size_t Columns() {
  return platform::TerminalColumns(platform::StandardStream::Error);
}

const char* NameOf(Activity activity, Progress::Work work) {
  switch (activity) {
    case Activity::ListingFolder:
      return "listing the mails of ";
    case Activity::Flushing:
      return work == Progress::Work::Writing ? "flushing to the disk: " : "finishing ";
    case Activity::Balancing:
      return "comparing with the list of mails";
    case Activity::Contacts:
      return work == Progress::Work::Writing ? "writing the contacts" : "reading the address book";
  }
  return "";
}

}  // namespace

Progress::Progress(Work work)
    : work_(work), isTerminal_(platform::IsTerminal(platform::StandardStream::Error)) {}

Progress::~Progress() {
  Clear();
}

void Progress::Show(const std::string& activity) {
  if (isTerminal_) PutLine(text::Visible(activity));
}

void Progress::Begin(Activity activity, const std::string& folder) {
  Show(NameOf(activity, work_) + folder);
}

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
  Clear();
  const archive::MailCounts& counts = folder.counts;
  const auto done = work_ == Work::Writing ? " written" : " can be read";
  std::cerr << text::Visible(folder.name) << ": " << counts.found << " mails, " << counts.written
            << done;
  if (counts.alreadyThere > 0) std::cerr << ", " << counts.alreadyThere << " already there";
  if (counts.skipped > 0) std::cerr << ", " << counts.skipped << " skipped";
  if (counts.failed > 0) std::cerr << ", " << counts.failed << " failed";
  std::cerr << '\n';
}

void Progress::Draw(std::int32_t done) {
  const auto width = static_cast<std::int64_t>(std::min(MAX_BAR_WIDTH, Columns() / 3));
  const std::int64_t filled = mailCount_ == 0 ? 0 : width * done / mailCount_;
  const char* const verb = work_ == Work::Writing ? " writing " : " reading ";
  PutLine('[' + std::string(static_cast<std::size_t>(filled), '=') +
          std::string(static_cast<std::size_t>(width - filled), ' ') + "] " + std::to_string(done) +
          '/' + std::to_string(mailCount_) + verb + name_);
  lastDrawn_ = std::chrono::steady_clock::now();
}

// A line that reaches the last column would make some terminals begin another one.
void Progress::PutLine(const std::string& line) {
  std::cerr << CLEAR_LINE << text::CutToColumns(line, Columns() - 1) << std::flush;
  isShown_ = true;
}

void Progress::Clear() {
  if (std::exchange(isShown_, false)) std::cerr << CLEAR_LINE << std::flush;
}

}  // namespace nimport::command
