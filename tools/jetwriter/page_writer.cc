#include "jetwriter/page_writer.h"

#include <cassert>
#include <cerrno>
#include <cstring>
#include <span>

#include "common/utf8_path.h"
#include "jet/format/rc4.h"
#include "jetwriter/write_error.h"

namespace nimport::jetwriter {
namespace {

constexpr std::size_t FILE_BUFFER_BYTES = std::size_t{1} << 20;

}  // namespace

PageWriter::PageWriter(const std::filesystem::path& path, const Format& format)
    : path_(path), format_(format), file_(std::fopen(PathToUtf8(path).c_str(), "wb")) {
  if (!file_) Fail("cannot be created");
  std::setvbuf(file_.get(), nullptr, _IOFBF, FILE_BUFFER_BYTES);
}

std::uint32_t PageWriter::Allocate() {
  if ((std::uint64_t{pageCount_} + 1) * format_.pageSize > format_.maxFileBytes) {
    throw WriteError(PathToUtf8(path_) + " would become larger than " +
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
  std::string encoded;
  if (format_.encodingKey != 0 && pageNumber != 0) {
    page = encoded = page;
    jet::ApplyRc4(format_.encodingKey ^ pageNumber, std::as_writable_bytes(std::span(encoded)));
  }
  if (std::fwrite(page.data(), 1, page.size(), file_.get()) != page.size()) {
    Fail("cannot be written");
  }
  nextInFile_ = pageNumber + 1;
}

void PageWriter::Close() {
  if (std::fclose(file_.release()) != 0) Fail("cannot be written");
}

void PageWriter::Fail(const std::string& what) const {
  throw WriteError(PathToUtf8(path_) + " " + what + ": " + std::strerror(errno));
}

void PageSet::Add(std::uint32_t pageNumber) {
  const std::size_t byte = pageNumber / 8;
  if (byte >= bits_.size()) bits_.resize(byte + 1, '\0');
  bits_[byte] = static_cast<char>(bits_[byte] | (1 << (pageNumber % 8)));
}

}  // namespace nimport::jetwriter
