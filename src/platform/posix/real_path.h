#ifndef NIMPORT_PLATFORM_POSIX_REAL_PATH_H_
#define NIMPORT_PLATFORM_POSIX_REAL_PATH_H_

#include <cstdlib>
#include <memory>
#include <optional>
#include <string>

namespace nimport::platform::posix {

// An existing path without symbolic links, so that two spellings of it compare. Empty, with errno,
// where nothing is there or it cannot be reached.
[[nodiscard]] inline std::optional<std::string> FindRealPath(const std::string& path) {
  const std::unique_ptr<char, void (*)(void*)> real(realpath(path.c_str(), nullptr), std::free);
  if (!real) return std::nullopt;
  return std::string(real.get());
}

}  // namespace nimport::platform::posix

#endif  // NIMPORT_PLATFORM_POSIX_REAL_PATH_H_
