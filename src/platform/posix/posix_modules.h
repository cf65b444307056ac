#ifndef NIMPORT_PLATFORM_POSIX_POSIX_MODULES_H_
#define NIMPORT_PLATFORM_POSIX_POSIX_MODULES_H_

#include "platform/modules.h"

namespace nimport::platform::posix {

// Loads "Wexmail.dll" as "libwexmail.so": the stem in small letters, between "lib" and ".so".
class PosixModuleLoader final : public ModuleLoader {
 public:
  [[nodiscard]] std::unique_ptr<Module> Load(std::string_view name) override;
};

}  // namespace nimport::platform::posix

#endif  // NIMPORT_PLATFORM_POSIX_POSIX_MODULES_H_
