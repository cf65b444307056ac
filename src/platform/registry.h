#ifndef NIMPORT_PLATFORM_REGISTRY_H_
#define NIMPORT_PLATFORM_REGISTRY_H_

#include <optional>
#include <string>
#include <string_view>

namespace nimport::platform {

enum class RegistryHive { LocalMachine, CurrentUser };

// The registry that holds the mail client's settings. Read afresh at every call.
class Registry {
 public:
  virtual ~Registry() = default;

  // A string value up to its first NUL, in code page 932. `key` is a path below the hive with '\'
  // between its parts; key and value name compare without regard to letter case. Empty when the key
  // or the value is absent, or when the value takes more than 519 bytes.
  [[nodiscard]] virtual std::optional<std::string> ReadString(RegistryHive hive,
                                                              std::string_view key,
                                                              std::string_view valueName) const = 0;
};

}  // namespace nimport::platform

#endif  // NIMPORT_PLATFORM_REGISTRY_H_
