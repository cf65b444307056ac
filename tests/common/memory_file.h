// A file in memory, for tests that build, cut or change files.
#ifndef NIMPORT_TESTS_COMMON_MEMORY_FILE_H_
#define NIMPORT_TESTS_COMMON_MEMORY_FILE_H_

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "common/file_error.h"
#include "common/random_access_file.h"

namespace nimport {

// What a MemoryFile reads. The test keeps it and may change it meanwhile.
struct MemoryFileContents {
  std::vector<std::byte> bytes;
  std::uint64_t changeStamp = 1;
  std::uint64_t failFrom = ~std::uint64_t{0};  // reads that reach this offset throw FileError
  std::uint64_t bytesRead = 0;

  void Replace(std::vector<std::byte> newBytes) {
    bytes = std::move(newBytes);
    ++changeStamp;
  }
};

class MemoryFile final : public RandomAccessFile {
 public:
  MemoryFile(std::string name, std::shared_ptr<MemoryFileContents> contents)
      : name_(std::move(name)), contents_(std::move(contents)) {}
  MemoryFile(std::string name, std::vector<std::byte> bytes)
      : MemoryFile(std::move(name), std::make_shared<MemoryFileContents>()) {
    contents_->bytes = std::move(bytes);
  }

  [[nodiscard]] const std::string& Name() const override { return name_; }
  [[nodiscard]] std::uint64_t Size() const override { return contents_->bytes.size(); }
  [[nodiscard]] std::uint64_t ChangeStamp() const override { return contents_->changeStamp; }

  std::size_t ReadAt(std::uint64_t offset, std::span<std::byte> buffer) const override {
    const std::vector<std::byte>& bytes = contents_->bytes;
    if (offset + buffer.size() > contents_->failFrom) throw FileError(name_ + ": cannot be read");
    if (offset >= bytes.size() || buffer.empty()) return 0;
    const auto start = static_cast<std::size_t>(offset);
    const std::size_t count = std::min(buffer.size(), bytes.size() - start);
    std::memcpy(buffer.data(), bytes.data() + start, count);
    contents_->bytesRead += count;
    return count;
  }

 private:
  std::string name_;
  std::shared_ptr<MemoryFileContents> contents_;
};

// A whole file from disk; empty when there is none.
inline std::vector<std::byte> ReadWholeFile(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  const std::string text(std::istreambuf_iterator<char>(stream), {});
  const auto* begin = reinterpret_cast<const std::byte*>(text.data());
  return {begin, begin + text.size()};
}

}  // namespace nimport

#endif  // NIMPORT_TESTS_COMMON_MEMORY_FILE_H_
