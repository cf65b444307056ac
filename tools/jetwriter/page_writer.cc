#include "jetwriter/page_writer.h"

#include <array>
#include <cassert>
#include <cerrno>
#include <cstring>
#include <numeric>
#include <utility>

#include "jetwriter/write_error.h"

namespace nimport::jetwriter {
namespace {

// RC4 with the 4-byte key that a page of an encoded file has. The reader has its own: a fault
// shared by both would never show.
std::string EncodePage(std::string_view page, std::uint32_t key) {
  std::array<std::uint8_t, 256> state{};
  std::iota(state.begin(), state.end(), std::uint8_t{0});
  std::uint8_t j = 0;
  for (unsigned i = 0; i < state.size(); ++i) {
    j = static_cast<std::uint8_t>(j + state[i] + ((key >> (8 * (i % 4))) & 0xFF));
    std::swap(state[i], state[j]);
  }
  std::string encoded(page);
  std::uint8_t i = 0;
  j = 0;
  for (char& byte : encoded) {
    j = static_cast<std::uint8_t>(j + state[++i]);
    std::swap(state[i], state[j]);
    byte = static_cast<char>(byte ^ state[static_cast<std::uint8_t>(state[i] + state[j])]);
  }
  return encoded;
}

constexpr std::size_t FILE_BUFFER_BYTES = std::size_t{1} << 20;

}  // namespace

PageWriter::PageWriter(const std::filesystem::path& path, const Format& format)
    : path_(path), format_(format), file_(std::fopen(path.string().c_str(), "wb")) {
  if (!file_) Fail("cannot be created");
  std::setvbuf(file_.get(), nullptr, _IOFBF, FILE_BUFFER_BYTES);
}

std::uint32_t PageWriter::Allocate() {
  if ((std::uint64_t{pageCount_} + 1) * format_.pageSize > format_.maxFileBytes) {
    throw WriteError(path_.string() + " would become larger than " +
                     std::to_string(format_.maxFileBytes >> 20) +
                     " MiB, the most that a database of this version can have");
  }
  return pageCount_++;
}

void PageWriter::Write(std::uint32_t pageNumber, std::string_view page) {
  assert(page.size() == format_.pageSize && pageNumber < pageCount_);
  const auto offset = static_cast<off_t>(std::uint64_t{pageNumber} * format_.pageSize);
  // A seek empties the buffer, and most pages follow the one before.
  if (pageNumber != nextInFile_ && fseeko(file_.get(), offset, SEEK_SET) != 0) {
    Fail("cannot be written");
  }
  const std::string encoded = format_.encodingKey != 0 && pageNumber != 0
                                  ? EncodePage(page, format_.encodingKey ^ pageNumber)
                                  : std::string();
  const std::string_view bytes = encoded.empty() ? page : std::string_view(encoded);
  if (std::fwrite(bytes.data(), 1, bytes.size(), file_.get()) != bytes.size()) {
    Fail("cannot be written");
  }
  nextInFile_ = pageNumber + 1;
}

void PageWriter::Close() {
  if (std::fclose(file_.release()) != 0) Fail("cannot be written");
}

void PageWriter::Fail(const std::string& what) const {
  throw WriteError(path_.string() + " " + what + ": " + std::strerror(errno));
}

void PageSet::Add(std::uint32_t pageNumber) {
  const std::size_t byte = pageNumber / 8;
  if (byte >= bits_.size()) bits_.resize(byte + 1, '\0');
  bits_[byte] = static_cast<char>(bits_[byte] | (1 << (pageNumber % 8)));
}

}  // namespace nimport::jetwriter
