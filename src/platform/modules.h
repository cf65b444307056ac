#ifndef NIMPORT_PLATFORM_MODULES_H_
#define NIMPORT_PLATFORM_MODULES_H_

#include <memory>
#include <string_view>

namespace nimport::platform {

// Address of a function whose type the caller knows.
using AnyFunction = void (*)();

// A loaded dynamic library; unloaded when destroyed (the system counts loads).
class Module {
 public:
  virtual ~Module() = default;
  // Null when the library does not export the name.
  [[nodiscard]] virtual AnyFunction FindFunction(const char* name) const = 0;
};

class ModuleLoader {
 public:
  virtual ~ModuleLoader() = default;
  // Loads a library by its bare Windows name, for example "Wexmail.dll", in the system's usual
  // search order. Null when it cannot be loaded.
  [[nodiscard]] virtual std::unique_ptr<Module> Load(std::string_view name) = 0;
};

}  // namespace nimport::platform

#endif  // NIMPORT_PLATFORM_MODULES_H_
