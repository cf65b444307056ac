#include "jetwriter/byte_writer.h"

#include <cassert>

namespace nimport::jetwriter {

void ByteWriter::BigEndianU32(std::uint32_t value) {
  for (int shift = 24; shift >= 0; shift -= 8)
    U8((value >> shift) & 0xFF);
}

void ByteWriter::Number(std::uint64_t value, std::size_t width) {
  for (std::size_t i = 0; i < width; ++i) {
    bytes_.push_back(static_cast<char>((value >> (8 * i)) & 0xFF));
  }
}

void ByteWriter::PadTo(std::size_t size) {
  if (bytes_.size() < size) bytes_.resize(size, '\0');
}

void ByteWriter::SetNumber(std::size_t offset, std::uint64_t value, std::size_t width) {
  assert(offset + width <= bytes_.size());
  for (std::size_t i = 0; i < width; ++i) {
    bytes_[offset + i] = static_cast<char>((value >> (8 * i)) & 0xFF);
  }
}

void ByteWriter::SetBytes(std::size_t offset, std::string_view bytes) {
  assert(offset + bytes.size() <= bytes_.size());
  bytes_.replace(offset, bytes.size(), bytes);
}

}  // namespace nimport::jetwriter
