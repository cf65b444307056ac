#ifndef NIMPORT_PLATFORM_POSIX_REGISTRY_FILES_H_
#define NIMPORT_PLATFORM_POSIX_REGISTRY_FILES_H_

#include <utility>
#include <vector>

#include "common/text_converter.h"
#include "platform/posix/settings.h"
#include "platform/registry.h"

namespace nimport::platform::posix {

// The registry as files: those that NIMPORT_REGISTRY names, separated by ':', else "system.reg" and
// "user.reg" of the Wine prefix. The first file that has the value wins. What is nowhere below
// "Software\" is then looked for below "Software\Wow6432Node\". A file that is missing or broken
// has no values.
class RegistryFiles final : public Registry {
 public:
  // `text` must outlive this object.
  RegistryFiles(Settings settings, const TextConverter& text)
      : settings_(std::move(settings)), text_(text) {}

  [[nodiscard]] std::optional<std::string> ReadString(RegistryHive hive, std::string_view key,
                                                      std::string_view valueName) const override;

 private:
  [[nodiscard]] std::vector<std::string> FileNames() const;

  Settings settings_;
  const TextConverter& text_;
};

}  // namespace nimport::platform::posix

#endif  // NIMPORT_PLATFORM_POSIX_REGISTRY_FILES_H_
