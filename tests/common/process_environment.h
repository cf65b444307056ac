#ifndef NIMPORT_TESTS_COMMON_PROCESS_ENVIRONMENT_H_
#define NIMPORT_TESTS_COMMON_PROCESS_ENVIRONMENT_H_

#include <cstdlib>
#include <optional>
#include <string>

namespace nimport::tests {

// Sets a variable of this process's environment, UTF-8.
inline void SetVariable(const std::string& name, const std::string& value) {
#if defined(_WIN32)
  _putenv_s(name.c_str(), value.c_str());
#else
  setenv(name.c_str(), value.c_str(), 1);
#endif
}

inline void RemoveVariable(const std::string& name) {
#if defined(_WIN32)
  _putenv_s(name.c_str(), "");
#else
  unsetenv(name.c_str());
#endif
}

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

#endif  // NIMPORT_TESTS_COMMON_PROCESS_ENVIRONMENT_H_
