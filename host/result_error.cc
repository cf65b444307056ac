#include "host/result_error.h"

#include <utility>

namespace nimport::host {

namespace {

std::string ReasonOrMeaning(const std::string& reason, ResultCode code) {
  return reason.empty() ? MeaningOf(code) : reason;
}

std::string Sentence(const std::string& function, ResultCode code, const std::string& reason) {
  std::string text = function;
  return text.append(": ").append(reason).append(" (").append(std::to_string(code)).append(")");
}

}  // namespace

ResultError::ResultError(std::string function, ResultCode code, const std::string& reason)
    : std::runtime_error(Sentence(function, code, ReasonOrMeaning(reason, code))),
      function_(std::move(function)),
      code_(code),
      reason_(ReasonOrMeaning(reason, code)) {}

std::string MeaningOf(ResultCode code) {
  switch (code) {
    case RESULT_OK:
      return "success";
    case RESULT_NO_MEMORY:
      return "out of memory";
    case RESULT_DATABASE:
      return "a database or a temporary file could not be read or written";
    case RESULT_INVALID:
      return "the item is missing or unusable";
    default:
      return "the MIME library refused the mail";
  }
}

}  // namespace nimport::host
