#ifndef NIMPORT_PLATFORM_FAILURE_RECORD_JSON_H_
#define NIMPORT_PLATFORM_FAILURE_RECORD_JSON_H_

#include <string>

#include "platform/diagnostics.h"

namespace nimport::platform {

// The record as one line of JSON in UTF-8, with its LF. What is not known is left out; bytes that
// are no UTF-8 become U+FFFD.
[[nodiscard]] std::string ToJsonLine(const FailureRecord& record);

}  // namespace nimport::platform

#endif  // NIMPORT_PLATFORM_FAILURE_RECORD_JSON_H_
