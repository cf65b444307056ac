#ifndef NIMPORT_TOOLS_JETWRITER_WRITE_ERROR_H_
#define NIMPORT_TOOLS_JETWRITER_WRITE_ERROR_H_

#include <stdexcept>
#include <string>

namespace nimport::jetwriter {

// What was asked for does not fit the format, or the file could not be written. The text is one
// sentence in UTF-8 that names the file, table and column as far as they are known.
class WriteError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace nimport::jetwriter

#endif  // NIMPORT_TOOLS_JETWRITER_WRITE_ERROR_H_
