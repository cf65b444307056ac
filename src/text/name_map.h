// Hashed containers of names that compare without regard to the case of ASCII letters.
#ifndef NIMPORT_TEXT_NAME_MAP_H_
#define NIMPORT_TEXT_NAME_MAP_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "text/ascii.h"

namespace nimport::text {

struct NameHash {
  using is_transparent = void;
  [[nodiscard]] std::size_t operator()(std::string_view name) const {
    std::uint64_t hash = 0xCBF29CE484222325;  // FNV-1a
    for (const char c : name)
      hash = (hash ^ static_cast<unsigned char>(AsciiLower(c))) * 0x100000001B3;
    return static_cast<std::size_t>(hash);
  }
};

struct NameEqual {
  using is_transparent = void;
  [[nodiscard]] bool operator()(std::string_view a, std::string_view b) const {
    return EqualsIgnoringCase(a, b);
  }
};

// May be searched by std::string_view.
using NameSet = std::unordered_set<std::string, NameHash, NameEqual>;
template <typename Mapped>
using NameMap = std::unordered_map<std::string, Mapped, NameHash, NameEqual>;

}  // namespace nimport::text

#endif  // NIMPORT_TEXT_NAME_MAP_H_
