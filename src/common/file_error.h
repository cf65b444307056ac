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
  // Nothing is there; or it cannot be known, since nobody may look.
  enum class Certainty { Missing, Hidden };

  // `name` is the path that was looked at; `reason` is empty where nothing is there at all.
  FileMissing(const std::string& name, const std::string& reason,
              Certainty certainty = Certainty::Missing)
      : FileError(name + ": " + (reason.empty() ? "is not there" : reason)),
        description_(reason.empty() ? name : name + ": " + reason),
        certainty_(certainty) {}

  // The name, followed by the reason where there is one: to stand after "no stored file ".
  [[nodiscard]] const std::string& description() const { return description_; }

  // A sentence about the file, which is called `what` ("stored file").
  [[nodiscard]] std::string Explain(const std::string& what) const {
    const bool isHidden = certainty_ == Certainty::Hidden;
    return (isHidden ? "the " + what + " cannot be reached: " : "no " + what + ' ') + description_;
  }

 private:
  std::string description_;
  Certainty certainty_;
};

}  // namespace nimport

#endif  // NIMPORT_COMMON_FILE_ERROR_H_
