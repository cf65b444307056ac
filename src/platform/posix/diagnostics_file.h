#ifndef NIMPORT_PLATFORM_POSIX_DIAGNOSTICS_FILE_H_
#define NIMPORT_PLATFORM_POSIX_DIAGNOSTICS_FILE_H_

#include <utility>

#include "platform/diagnostics.h"
#include "platform/settings.h"

namespace nimport::platform::posix {

// Appends each record as a line of JSON to what NIMPORT_DIAGNOSTICS names: a file, which is created
// with mode 0600 if need be, or "fd:N", an open descriptor. One write per record, so that records
// of several threads and processes do not mix. A record that cannot be written is lost.
class DiagnosticsFile final : public DiagnosticsSink {
 public:
  explicit DiagnosticsFile(Settings settings) : settings_(std::move(settings)) {}

  [[nodiscard]] bool IsOn() const override;
  void Report(const FailureRecord& record) noexcept override;

 private:
  Settings settings_;
};

}  // namespace nimport::platform::posix

#endif  // NIMPORT_PLATFORM_POSIX_DIAGNOSTICS_FILE_H_
