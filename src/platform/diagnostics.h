// Why something failed, for those who want to know: result codes carry no text.
#ifndef NIMPORT_PLATFORM_DIAGNOSTICS_H_
#define NIMPORT_PLATFORM_DIAGNOSTICS_H_

#include <cstdint>
#include <optional>
#include <string>

namespace nimport::platform {

// What is known of one failure, or of damage that was stepped over (code 0). Texts are UTF-8; what
// is not known is empty.
struct FailureRecord {
  std::string function{};  // the exported function's name
  std::int32_t code = 0;
  bool isNote = false;   // nothing is wrong, but a user may want to know
  std::string reason{};  // one sentence
  std::string file{};
  std::optional<std::uint32_t> page{};
  std::string table{};
  std::optional<std::uint32_t> slot{};
  std::optional<std::int32_t> folder{};  // position in the folder list
  std::optional<std::int32_t> mail{};    // position in the folder
  std::optional<std::int32_t> dataNo{};
};

// Receives the records. Safe to use from several threads.
class DiagnosticsSink {
 public:
  virtual ~DiagnosticsSink() = default;
  // Whether anybody listens; records need not be made otherwise.
  [[nodiscard]] virtual bool IsOn() const = 0;
  virtual void Report(const FailureRecord& record) noexcept = 0;
};

// The record as one line of JSON in UTF-8, with its LF. What is not known is left out; bytes that
// are no UTF-8 become U+FFFD.
[[nodiscard]] std::string ToJsonLine(const FailureRecord& record);

}  // namespace nimport::platform

#endif  // NIMPORT_PLATFORM_DIAGNOSTICS_H_
