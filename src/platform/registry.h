#ifndef NIMPORT_PLATFORM_REGISTRY_H_
#define NIMPORT_PLATFORM_REGISTRY_H_

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace nimport::platform {

enum class RegistryHive { LocalMachine, CurrentUser };

// The registry has a value that cannot be used. The text names the value and says why.
class UnusableValue : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The registry that holds the mail client's settings. Read afresh at every call.
class Registry {
 public:
  virtual ~Registry() = default;

  // A value up to its first NUL: text of all types in code page 932, of other types the bytes as
  // they are. `key` is a path below the hive with '\' between its parts; key and value name compare
  // without regard to letter case. Empty when the key or the value is absent. Throws UnusableValue
  // when the value takes more than 519 bytes or is broken.
  [[nodiscard]] virtual std::optional<std::string> ReadString(RegistryHive hive,
                                                              std::string_view key,
                                                              std::string_view valueName) const = 0;
};

}  // namespace nimport::platform

#endif  // NIMPORT_PLATFORM_REGISTRY_H_
