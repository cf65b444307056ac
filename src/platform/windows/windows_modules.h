#ifndef NIMPORT_PLATFORM_WINDOWS_WINDOWS_MODULES_H_
#define NIMPORT_PLATFORM_WINDOWS_WINDOWS_MODULES_H_

#include "platform/modules.h"

namespace nimport::platform::windows {

// Loads libraries by their bare names, in the system's usual search order.
class WindowsModuleLoader final : public ModuleLoader {
 public:
  [[nodiscard]] std::unique_ptr<Module> Load(std::string_view name) override;
};

}  // namespace nimport::platform::windows

#endif  // NIMPORT_PLATFORM_WINDOWS_WINDOWS_MODULES_H_
