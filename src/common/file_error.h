#ifndef NIMPORT_COMMON_FILE_ERROR_H_
#define NIMPORT_COMMON_FILE_ERROR_H_

#include <stdexcept>
#include <string>

namespace nimport {

// The system refused an operation on a file. The text names the file, what was tried and why it
// failed.
class FileError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace nimport

#endif  // NIMPORT_COMMON_FILE_ERROR_H_
