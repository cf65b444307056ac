#include "jet/format/rc4.h"

#include <array>
#include <utility>

namespace nimport::jet {

void ApplyRc4(std::uint32_t key, std::span<std::byte> bytes) {
  std::array<std::uint8_t, 256> state{};
  for (std::size_t i = 0; i < state.size(); ++i)
    state[i] = static_cast<std::uint8_t>(i);
  std::uint8_t j = 0;
  for (std::size_t i = 0; i < state.size(); ++i) {
    const auto keyByte = static_cast<std::uint8_t>(key >> (8 * (i % 4)));
    j = static_cast<std::uint8_t>(j + state[i] + keyByte);
    std::swap(state[i], state[j]);
  }
  std::uint8_t i = 0;
  j = 0;
  for (std::byte& byte : bytes) {
    i = static_cast<std::uint8_t>(i + 1);
    j = static_cast<std::uint8_t>(j + state[i]);
    std::swap(state[i], state[j]);
    byte ^= static_cast<std::byte>(state[static_cast<std::uint8_t>(state[i] + state[j])]);
  }
}

}  // namespace nimport::jet
