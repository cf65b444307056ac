// Memory that the library hands out. A caller holds plain pointers and releases each with one call,
// whatever it is: so every block carries its own account in front of the bytes that a caller sees.
#ifndef NIMPORT_WEXMAIL_BUFFER_H_
#define NIMPORT_WEXMAIL_BUFFER_H_

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace nimport::wexmail {

// A share in one block of memory; the block goes when its last share goes. Handing a block to a
// caller hands over a share, so that the contents of a part can be kept for the next question
// without being copied for each answer. Shares may be taken and released in any thread; the bytes
// do not change once a block has been shared.
class Buffer {
 public:
  Buffer() = default;
  // A block of `sizeBytes` bytes, followed by a NUL that is not counted; the bytes are not set.
  // Throws std::bad_alloc.
  explicit Buffer(std::size_t sizeBytes);
  // A block that holds a copy of `bytes`.
  explicit Buffer(std::string_view bytes);
  Buffer(const Buffer& other);
  Buffer(Buffer&& other) noexcept : data_(other.data_) { other.data_ = nullptr; }
  Buffer& operator=(Buffer other) noexcept;
  ~Buffer();

  // A block that holds one pointer per item. The items' shares belong to the block: they are
  // released with it.
  [[nodiscard]] static Buffer OfItems(std::span<const Buffer> items);
  // A block that holds one pointer per item to the item's size in bytes; the sizes lie in the
  // same block. Throws std::length_error for an item that an int32 cannot measure.
  [[nodiscard]] static Buffer OfSizes(std::span<const Buffer> items);

  [[nodiscard]] bool IsNull() const { return data_ == nullptr; }
  [[nodiscard]] char* data() const { return data_; }
  [[nodiscard]] std::size_t size() const;
  [[nodiscard]] std::string_view view() const { return {data_, size()}; }
  // The size as callers learn it. Throws std::length_error where an int32 is too small for it.
  [[nodiscard]] std::int32_t Size32() const;
  // Makes the block end earlier, before it is shared. `sizeBytes` is at most size().
  void Shorten(std::size_t sizeBytes);

  // Gives this share to whoever will call Release with the pointer.
  [[nodiscard]] char* Detach();
  // Releases a share by the pointer that Detach gave; null is ignored.
  static void Release(void* data) noexcept;

 private:
  char* data_ = nullptr;
};

}  // namespace nimport::wexmail

#endif  // NIMPORT_WEXMAIL_BUFFER_H_
