#ifndef NIMPORT_JET_FORMAT_BYTE_READER_H_
#define NIMPORT_JET_FORMAT_BYTE_READER_H_

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace nimport::jet {

// Numbers and pieces of bytes that came from a file. The one place that knows their order
// (little-endian) and their bounds: whatever reaches beyond the end throws DatabaseError, without a
// place, which callers add. Borrows the bytes.
class ByteReader {
 public:
  ByteReader() = default;
  explicit ByteReader(std::span<const std::byte> bytes) : bytes_(bytes) {}

  [[nodiscard]] std::size_t size() const { return bytes_.size(); }
  [[nodiscard]] std::span<const std::byte> All() const { return bytes_; }

  [[nodiscard]] std::span<const std::byte> Bytes(std::size_t offset, std::size_t length) const {
    Check(offset, length);
    return bytes_.subspan(offset, length);
  }
  // Everything from `offset` on.
  [[nodiscard]] std::span<const std::byte> From(std::size_t offset) const {
    Check(offset, 0);
    return bytes_.subspan(offset);
  }

  // A number of any fixed width, whole or not.
  template <typename T>
  [[nodiscard]] T Load(std::size_t offset) const {
    Check(offset, sizeof(T));
    std::array<std::byte, sizeof(T)> stored;
    std::memcpy(stored.data(), bytes_.data() + offset, sizeof(T));
    if constexpr (std::endian::native == std::endian::big) std::ranges::reverse(stored);
    return std::bit_cast<T>(stored);
  }

  [[nodiscard]] std::uint8_t U8(std::size_t offset) const { return Load<std::uint8_t>(offset); }
  [[nodiscard]] std::uint16_t U16(std::size_t offset) const { return Load<std::uint16_t>(offset); }
  [[nodiscard]] std::uint32_t U32(std::size_t offset) const { return Load<std::uint32_t>(offset); }
  [[nodiscard]] std::uint64_t U64(std::size_t offset) const { return Load<std::uint64_t>(offset); }
  [[nodiscard]] std::int16_t I16(std::size_t offset) const { return Load<std::int16_t>(offset); }
  [[nodiscard]] std::int32_t I32(std::size_t offset) const { return Load<std::int32_t>(offset); }
  [[nodiscard]] float F32(std::size_t offset) const { return Load<float>(offset); }
  [[nodiscard]] double F64(std::size_t offset) const { return Load<double>(offset); }

 private:
  void Check(std::size_t offset, std::size_t length) const {
    if (offset > bytes_.size() || length > bytes_.size() - offset) {
      FailOverrun(offset, length, bytes_.size());
    }
  }

  [[noreturn]] static void FailOverrun(std::size_t offset, std::size_t length, std::size_t size);

  std::span<const std::byte> bytes_;
};

}  // namespace nimport::jet

#endif  // NIMPORT_JET_FORMAT_BYTE_READER_H_
