// A file that is read at any place. The database engine and the mail store read through this, so
// that a platform, a test or a fault can provide one.
#ifndef NIMPORT_COMMON_RANDOM_ACCESS_FILE_H_
#define NIMPORT_COMMON_RANDOM_ACCESS_FILE_H_

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace nimport {

// Open for reading until destroyed. Another program may write to the file meanwhile.
class RandomAccessFile {
 public:
  virtual ~RandomAccessFile() = default;

  // What to call the file in messages: its native path, UTF-8.
  [[nodiscard]] virtual const std::string& Name() const = 0;

  // The file's size now, in bytes. Throws FileError.
  [[nodiscard]] virtual std::uint64_t Size() const = 0;

  // A number that differs from an earlier one whenever the file may have changed in between.
  // Cheap. Throws FileError.
  [[nodiscard]] virtual std::uint64_t ChangeStamp() const = 0;

  // Reads into `buffer` from byte `offset` and returns the number of bytes read, which is less than
  // the buffer's size only at the end of the file. Throws FileError.
  virtual std::size_t ReadAt(std::uint64_t offset, std::span<std::byte> buffer) const = 0;
};

}  // namespace nimport

#endif  // NIMPORT_COMMON_RANDOM_ACCESS_FILE_H_
