#ifndef NIMPORT_COMMON_FAILURE_H_
#define NIMPORT_COMMON_FAILURE_H_

#include <stdexcept>
#include <string>

#include "nimport/nimport.h"

namespace nimport {

// Work that ends with a result code other than success. The text says why, for diagnostics.
class Failure : public std::runtime_error {
 public:
  Failure(ResultCode code, const std::string& reason) : std::runtime_error(reason), code_(code) {}

  [[nodiscard]] ResultCode code() const { return code_; }

 private:
  ResultCode code_;
};

// The item does not exist, or an argument is out of range.
[[noreturn]] inline void FailInvalid(const std::string& reason) {
  throw Failure(RESULT_INVALID, reason);
}

// A database or a file could not be used.
[[noreturn]] inline void FailDatabase(const std::string& reason) {
  throw Failure(RESULT_DATABASE, reason);
}

}  // namespace nimport

#endif  // NIMPORT_COMMON_FAILURE_H_
