// Bytes being put together, little-endian unless a function says otherwise.
#ifndef NIMPORT_TOOLS_JETWRITER_BYTE_WRITER_H_
#define NIMPORT_TOOLS_JETWRITER_BYTE_WRITER_H_

#include <bit>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace nimport::jetwriter {

class ByteWriter {
 public:
  ByteWriter() = default;
  // Begins with `size` zero bytes, to be set afterwards.
  explicit ByteWriter(std::size_t size) : bytes_(size, '\0') {}

  void U8(std::uint64_t value) { Number(value, 1); }
  void U16(std::uint64_t value) { Number(value, 2); }
  void U32(std::uint64_t value) { Number(value, 4); }
  void U64(std::uint64_t value) { Number(value, 8); }
  void F32(float value) { U32(std::bit_cast<std::uint32_t>(value)); }
  void F64(double value) { U64(std::bit_cast<std::uint64_t>(value)); }
  // Big-endian, as the counters in MSysQueries are.
  void BigEndianU32(std::uint32_t value);
  // The low `width` bytes of `value`.
  void Number(std::uint64_t value, std::size_t width);
  void Bytes(std::string_view bytes) { bytes_.append(bytes); }
  void Zeros(std::size_t count) { bytes_.append(count, '\0'); }
  void PadTo(std::size_t size);

  // Overwrites bytes that are there already.
  void SetNumber(std::size_t offset, std::uint64_t value, std::size_t width);
  void SetBytes(std::size_t offset, std::string_view bytes);

  [[nodiscard]] std::size_t Size() const { return bytes_.size(); }
  [[nodiscard]] const std::string& View() const { return bytes_; }
  [[nodiscard]] std::string Take() { return std::move(bytes_); }

 private:
  std::string bytes_;
};

}  // namespace nimport::jetwriter

#endif  // NIMPORT_TOOLS_JETWRITER_BYTE_WRITER_H_
