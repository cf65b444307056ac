#include "jet/storage/page_file.h"

#include <algorithm>
#include <array>
#include <utility>

#include "common/file_error.h"
#include "jet/database_error.h"
#include "jet/format/header_salvage.h"
#include "jet/format/rc4.h"
#include "jet/storage/damage.h"

namespace nimport::jet {
namespace {

// Row pointers have 24 bits for the page.
constexpr std::uint64_t MAX_PAGES = std::uint64_t{1} << 24;

// The pieces in which a scan reads, and how many of them are kept. A few are enough for a scan, and
// so its memory stays in the processor's cache. While lookups used them too, 8 MiB held 128 of
// their pages: opening 10,000 folders of 20 mails took 251 ms, and takes 136 with single pages.
constexpr std::size_t RUN_BYTES = std::size_t{64} << 10;
constexpr std::size_t RUN_BLOCKS = 16;

}  // namespace

PageFile::PageFile(std::unique_ptr<RandomAccessFile> file, std::size_t cacheBytes,
                   DamageReporter& damage)
    : file_(std::move(file)),
      damage_(damage),
      cacheBytes_(cacheBytes),
      runs_(RUN_BYTES, RUN_BLOCKS * RUN_BYTES),
      pages_(JET3.pageSize, cacheBytes) {
  Reopen();
}

bool PageFile::HasChanged() const {
  try {
    return !isOpen_ || file_->ChangeStamp() != changeStamp_;
  } catch (const FileError& error) {
    throw DatabaseError({.file = Name()}, error.what());
  }
}

void PageFile::Reopen() {
  isOpen_ = false;
  try {
    // The stamp first: what is written after it was taken will be noticed.
    changeStamp_ = file_->ChangeStamp();
    sizeBytes_ = file_->Size();
    ReadHeader();
  } catch (const FileError& error) {
    throw DatabaseError({.file = Name(), .page = 0}, error.what());
  } catch (const DatabaseError& error) {
    RethrowAt(error, {.file = Name()});
  }
  const std::uint32_t pageSize = Layout().pageSize;
  pageCount_ = static_cast<std::uint32_t>(std::min(sizeBytes_ / pageSize, MAX_PAGES));
  if (pageCount_ == 0) {
    throw DatabaseError({.file = Name(), .page = 0}, "the file ends within its first page");
  }
  pagesPerBlock_ = static_cast<std::uint32_t>(RUN_BYTES / pageSize);
  runs_.Reset((pageCount_ + pagesPerBlock_ - 1) / pagesPerBlock_);
  pages_ = PageCache(pageSize, cacheBytes_);
  pages_.Reset(pageCount_);
  recent_.fill(pageCount_);
  isOpen_ = true;
}

void PageFile::ReadHeader() {
  std::array<std::byte, FILE_HEADER_BYTES> start{};
  const std::size_t count = file_->ReadAt(0, start);
  std::optional<FileHeader> header;
  std::optional<DatabaseError> error;
  try {
    header = ParseFileHeader(std::span(start).first(count));
  } catch (const DatabaseError& problem) {
    error = problem;
  }
  if (damage_.IsSalvaging()) return SalvageHeader(header, error);
  if (error) throw *error;
  header_ = *header;
}

void PageFile::SalvageHeader(const std::optional<FileHeader>& header,
                             const std::optional<DatabaseError>& error) {
  const auto readPage = [this](std::uint32_t number, std::span<std::byte> target) {
    return file_->ReadAt(std::uint64_t{number} * target.size(), target) == target.size();
  };
  std::string damage;
  const std::optional<FileHeader> corrected = CorrectHeader(header, readPage, damage);
  if (!corrected && error) throw *error;
  header_ = corrected ? *corrected : *header;
  if (damage.empty()) return;
  if (error) damage += ": " + error->reason();
  damage_.Report(DatabaseError({.file = Name(), .page = 0}, damage));
}

Page PageFile::Read(std::uint32_t pageNumber, ReadHint hint, std::uint32_t pagesToFollow) {
  ++pagesRead_;
  if (pageNumber == 0 || pageNumber >= pageCount_) {
    throw DatabaseError(
        {.file = Name(), .page = pageNumber},
        "the page lies outside the file's pages 1 to " + std::to_string(pageCount_ - 1));
  }
  if (hint == ReadHint::Reuse) {
    std::shared_ptr<PageBlock> page = pages_.Find(pageNumber);
    if (page && page->loaded != 0) return Show(pageNumber, std::move(page), 0);
  }
  const std::uint32_t number = pageNumber / pagesPerBlock_;
  const std::uint32_t pageInBlock = pageNumber % pagesPerBlock_;
  std::shared_ptr<PageBlock> run = runs_.Find(number);
  if (run && (run->loaded >> pageInBlock & 1) != 0) {
    return Show(pageNumber, std::move(run), pageInBlock);
  }
  // A scan knows better than a guess what it reads next, except within a block.
  const bool hasOneBefore = run && pageInBlock > 0 && (run->loaded >> (pageInBlock - 1) & 1) != 0;
  const bool continuesScan = hasOneBefore || (hint == ReadHint::Reuse && ContinuesScan(pageNumber));
  if (hint == ReadHint::Reuse && !continuesScan) return ReadAlone(pageNumber);
  if (!run) run = runs_.Get(number);
  Load(*run, pageInBlock, continuesScan ? pagesPerBlock_ : pagesToFollow);
  return Show(pageNumber, std::move(run), pageInBlock);
}

Page PageFile::Show(std::uint32_t pageNumber, std::shared_ptr<PageBlock> block,
                    std::uint32_t pageInBlock) const {
  const std::size_t pageSize = Layout().pageSize;
  const std::span<const std::byte> bytes(block->bytes.get() + pageInBlock * pageSize, pageSize);
  return {pageNumber, bytes, std::move(block)};
}

Page PageFile::ReadAlone(std::uint32_t pageNumber) {
  std::shared_ptr<PageBlock> page = pages_.Get(pageNumber);
  const std::span<std::byte> target(page->bytes.get(), Layout().pageSize);
  ReadInto(target, pageNumber);
  page->loaded = 1;
  recent_[nextRecent_++ % RECENT_PAGES] = pageNumber;
  return Show(pageNumber, std::move(page), 0);
}

bool PageFile::ContinuesScan(std::uint32_t pageNumber) {
  const std::uint32_t before = pageNumber - 1;
  if (std::find(recent_.begin(), recent_.end(), before) != recent_.end()) return true;
  const std::shared_ptr<PageBlock> run = runs_.Find(before / pagesPerBlock_);
  return run && (run->loaded >> before % pagesPerBlock_ & 1) != 0;
}

std::uint32_t PageFile::PagesToLoad(const PageBlock& block, std::uint32_t pageInBlock,
                                    std::uint32_t pagesToFollow) const {
  const std::uint32_t firstPage = block.number * pagesPerBlock_;
  const std::uint32_t end = std::min(pagesPerBlock_, pageCount_ - firstPage);
  const std::uint32_t wanted = pageInBlock + 1 + std::min(pagesToFollow, end);
  std::uint32_t last = pageInBlock + 1;
  while (last < std::min(wanted, end) && (block.loaded >> last & 1) == 0)
    ++last;
  return last - pageInBlock;
}

void PageFile::Load(PageBlock& block, std::uint32_t pageInBlock, std::uint32_t pagesToFollow) {
  const std::uint32_t count = PagesToLoad(block, pageInBlock, pagesToFollow);
  if (count > 1) {
    try {
      LoadRun(block, pageInBlock, count);
      return;
    } catch (const DatabaseError&) {
      // What is wrong may be wrong with a later page, which nobody has asked for.
    }
  }
  LoadRun(block, pageInBlock, 1);
}

void PageFile::LoadRun(PageBlock& block, std::uint32_t pageInBlock, std::uint32_t count) {
  const std::size_t pageSize = Layout().pageSize;
  const std::uint32_t firstPage = block.number * pagesPerBlock_ + pageInBlock;
  const std::span<std::byte> target(block.bytes.get() + pageInBlock * pageSize, count * pageSize);
  ReadInto(target, firstPage);
  for (std::uint32_t i = 0; i < count; ++i)
    block.loaded |= std::uint32_t{1} << (pageInBlock + i);
}

void PageFile::ReadInto(std::span<std::byte> target, std::uint32_t firstPage) const {
  const std::size_t pageSize = Layout().pageSize;
  std::size_t count = 0;
  try {
    count = file_->ReadAt(std::uint64_t{firstPage} * pageSize, target);
  } catch (const FileError& error) {
    throw DatabaseError({.file = Name(), .page = firstPage}, error.what());
  }
  if (count < target.size()) {
    const auto missing = firstPage + static_cast<std::uint32_t>(count / pageSize);
    throw DatabaseError({.file = Name(), .page = missing},
                        "the file has become shorter and ends within the page");
  }
  if (header_.encodingKey == 0) return;
  for (std::size_t at = 0; at < target.size(); at += pageSize) {
    const auto page = firstPage + static_cast<std::uint32_t>(at / pageSize);
    ApplyRc4(header_.encodingKey ^ page, target.subspan(at, pageSize));
  }
}

}  // namespace nimport::jet
