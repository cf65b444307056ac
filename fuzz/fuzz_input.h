#ifndef NIMPORT_FUZZ_FUZZ_INPUT_H_
#define NIMPORT_FUZZ_FUZZ_INPUT_H_

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

namespace nimport::fuzz {

inline std::string_view ToText(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

// Ends the run as a finding when something that always holds does not.
inline void Check(bool holds) {
  if (!holds) std::abort();
}

}  // namespace nimport::fuzz

#endif  // NIMPORT_FUZZ_FUZZ_INPUT_H_
