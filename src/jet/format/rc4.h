#ifndef NIMPORT_JET_FORMAT_RC4_H_
#define NIMPORT_JET_FORMAT_RC4_H_

#include <cstddef>
#include <cstdint>
#include <span>

namespace nimport::jet {

// Decodes (or encodes, which is the same) `bytes` in place with the RC4 stream of a key of four
// bytes, `key`'s lowest byte first.
void ApplyRc4(std::uint32_t key, std::span<std::byte> bytes);

}  // namespace nimport::jet

#endif  // NIMPORT_JET_FORMAT_RC4_H_
