#include "platform/posix/diagnostics_file.h"

#include <cerrno>
#include <charconv>
#include <exception>
#include <string_view>

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/posix/file_descriptor.h"

namespace nimport::platform::posix {
namespace {

constexpr std::string_view DESCRIPTOR_PREFIX = "fd:";

void WriteLine(int fd, std::string_view line) {
  // A reader that has gone, or a limit on file sizes, must not end the process.
  const SignalGuard noPipeSignal(SIGPIPE);
  const SignalGuard noFileSizeSignal(SIGXFSZ);
  while (write(fd, line.data(), line.size()) < 0 && errno == EINTR) {
  }
}

std::optional<int> ParseDescriptor(std::string_view target) {
  if (!target.starts_with(DESCRIPTOR_PREFIX)) return std::nullopt;
  target.remove_prefix(DESCRIPTOR_PREFIX.size());
  int fd = -1;
  const auto [end, error] = std::from_chars(target.data(), target.data() + target.size(), fd);
  const bool isWhole = error == std::errc() && end == target.data() + target.size();
  return isWhole ? fd : -1;
}

}  // namespace

bool DiagnosticsFile::IsOn() const {
  return settings_("NIMPORT_DIAGNOSTICS").has_value();
}

void DiagnosticsFile::Report(const FailureRecord& record) noexcept {
  try {
    const std::optional<std::string> target = settings_("NIMPORT_DIAGNOSTICS");
    if (!target) return;
    const std::string line = ToJsonLine(record);
    if (const std::optional<int> fd = ParseDescriptor(*target)) {
      WriteLine(*fd, line);
    } else {
      constexpr int FLAGS = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
      const FileDescriptor file(open(target->c_str(), FLAGS, S_IRUSR | S_IWUSR));
      if (file.IsOpen()) WriteLine(file.get(), line);
    }
  } catch (const std::exception&) {
    // Out of memory: the record is lost, the work goes on.
  }
}

}  // namespace nimport::platform::posix
