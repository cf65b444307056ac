#ifndef NIMPORT_TESTS_COMMAND_ENVIRONMENT_H_
#define NIMPORT_TESTS_COMMAND_ENVIRONMENT_H_

#include <cstdlib>
#include <optional>
#include <string>

#include "common/process_environment.h"

namespace nimport::tests {

// Sets a variable of this process, or removes it, until the end of the scope.
class ScopedVariable {
 public:
  ScopedVariable(const char* name, const char* value) : name_(name) {
    if (const char* old = std::getenv(name)) old_ = old;
    Set(value);
  }
  ~ScopedVariable() { Set(old_ ? old_->c_str() : nullptr); }
  ScopedVariable(const ScopedVariable&) = delete;
  ScopedVariable& operator=(const ScopedVariable&) = delete;

 private:
  void Set(const char* value) {
    if (value == nullptr) {
      RemoveVariable(name_);
    } else {
      SetVariable(name_, value);
    }
  }

  const char* name_;
  std::optional<std::string> old_;
};

}  // namespace nimport::tests

#endif  // NIMPORT_TESTS_COMMAND_ENVIRONMENT_H_
