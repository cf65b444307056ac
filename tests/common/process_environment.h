#ifndef NIMPORT_TESTS_COMMON_PROCESS_ENVIRONMENT_H_
#define NIMPORT_TESTS_COMMON_PROCESS_ENVIRONMENT_H_

#include <cstdlib>
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

}  // namespace nimport::tests

#endif  // NIMPORT_TESTS_COMMON_PROCESS_ENVIRONMENT_H_
