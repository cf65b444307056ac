#ifndef NIMPORT_HOST_RESULT_ERROR_H_
#define NIMPORT_HOST_RESULT_ERROR_H_

#include <stdexcept>
#include <string>

#include "nimport/nimport.h"

namespace nimport::host {

// A function of the plug-in answered a code other than 0. what() is "FUNCTION: REASON (CODE)".
class ResultError : public std::runtime_error {
 public:
  // `reason` is what the plug-in's diagnostics say; where that is empty, what the code means.
  ResultError(std::string function, ResultCode code, const std::string& reason);

  [[nodiscard]] const std::string& function() const { return function_; }
  [[nodiscard]] ResultCode code() const { return code_; }
  [[nodiscard]] const std::string& reason() const { return reason_; }

 private:
  std::string function_;
  ResultCode code_;
  std::string reason_;
};

// What a code says by itself.
[[nodiscard]] std::string MeaningOf(ResultCode code);

}  // namespace nimport::host

#endif  // NIMPORT_HOST_RESULT_ERROR_H_
