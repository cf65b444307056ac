#ifndef NIMPORT_PLATFORM_WINDOWS_DIAGNOSTICS_FILE_H_
#define NIMPORT_PLATFORM_WINDOWS_DIAGNOSTICS_FILE_H_

#include <utility>

#include "platform/diagnostics.h"
#include "platform/settings.h"

namespace nimport::platform::windows {

// Appends each record as a line of JSON to what NIMPORT_DIAGNOSTICS names: a file, which is created
// if need be, or "fd:1" and "fd:2", the process's standard output and error. One write per record,
// so that records of several threads and processes do not mix. A record that cannot be written is
// lost.
class DiagnosticsFile final : public DiagnosticsSink {
 public:
  explicit DiagnosticsFile(Settings settings) : settings_(std::move(settings)) {}

  [[nodiscard]] bool IsOn() const override;
  void Report(const FailureRecord& record) noexcept override;

 private:
  Settings settings_;
};

}  // namespace nimport::platform::windows

#endif  // NIMPORT_PLATFORM_WINDOWS_DIAGNOSTICS_FILE_H_
