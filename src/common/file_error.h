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

// There is no file where one was looked for, or none that may be reached from there.
class FileMissing : public FileError {
 public:
  // `name` is the path that was looked at; `reason` is empty where nothing is there at all.
  FileMissing(const std::string& name, const std::string& reason)
      : FileError(name + ": " + (reason.empty() ? "is not there" : reason)),
        description_(reason.empty() ? name : name + ": " + reason) {}

  // The name, followed by the reason where there is one: to stand after "no stored file ".
  [[nodiscard]] const std::string& description() const { return description_; }

 private:
  std::string description_;
};

}  // namespace nimport

#endif  // NIMPORT_COMMON_FILE_ERROR_H_
