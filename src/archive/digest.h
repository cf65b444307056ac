// Digests that tell mails and contacts apart.
#ifndef NIMPORT_ARCHIVE_DIGEST_H_
#define NIMPORT_ARCHIVE_DIGEST_H_

#include <array>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

namespace nimport::archive {

using Digest = std::array<std::uint8_t, 16>;

// Differs whenever one of `texts` differs; where one of them ends makes a difference. The same on
// every machine. It is no proof against people who want two mails to agree: those are told apart by
// their order, as two that are the same.
[[nodiscard]] Digest DigestOf(std::initializer_list<std::string_view> texts);

// The digest as one of the texts of another.
[[nodiscard]] inline std::string_view BytesOf(const Digest& digest) {
  return {reinterpret_cast<const char*>(digest.data()), digest.size()};
}

// 32 hexadecimal digits.
[[nodiscard]] std::string ToHex(const Digest& digest);

// A shorter digest, for tables in memory.
[[nodiscard]] std::uint64_t ShortDigestOf(std::string_view text);

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_DIGEST_H_
