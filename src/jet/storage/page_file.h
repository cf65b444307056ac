#ifndef NIMPORT_JET_STORAGE_PAGE_FILE_H_
#define NIMPORT_JET_STORAGE_PAGE_FILE_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "common/random_access_file.h"
#include "jet/format/file_header.h"
#include "jet/storage/damage.h"
#include "jet/storage/page_cache.h"

namespace nimport::jet {

// Whether a page is likely to be asked for again soon. The pages that a scan goes through and those
// that hold a single row of interest, as long values do, are passed by.
enum class PageUse { Passing, Lasting };

// One page of the file, decoded. Its bytes are valid and unchanged as long as it (or a copy) lives.
struct Page {
  std::uint32_t number = 0;
  std::span<const std::byte> bytes;
  std::shared_ptr<const PageBlock> keeper;
};

// The file as a sequence of pages. Errors are DatabaseErrors with file and page.
//
// There are two caches. What is read one page after the other is read in large pieces, into a few
// blocks that stay in the processor's cache. Pages that lookups ask for, here and there in the
// file, are kept one by one in all the rest of the memory, which no scan takes from them.
class PageFile {
 public:
  // Takes over `file` and reads its header. While `damage`, which must outlive the object, listens,
  // a damaged header is guessed.
  PageFile(std::unique_ptr<RandomAccessFile> file, std::size_t cacheBytes, DamageReporter& damage);

  [[nodiscard]] const std::string& Name() const { return file_->Name(); }
  [[nodiscard]] const JetLayout& Layout() const { return *header_.layout; }
  [[nodiscard]] unsigned CodePage() const { return header_.codePage; }
  // Whole pages; a partial one at the end does not count.
  [[nodiscard]] std::uint32_t PageCount() const { return pageCount_; }
  [[nodiscard]] std::uint64_t SizeBytes() const { return sizeBytes_; }

  // How often Read() was called.
  [[nodiscard]] std::uint64_t PagesRead() const { return pagesRead_; }

  // Whether the file may have changed since it was last (re)opened. Stays true until Reopen.
  [[nodiscard]] bool HasChanged() const;
  // Forgets all pages and reads the header again.
  void Reopen();

  // `pagesToFollow` is the number of pages behind this one that the caller is about to read too: as
  // many of them as lie in the same block are read in one piece. Page 0 and pages outside the file
  // are errors.
  [[nodiscard]] Page Read(std::uint32_t pageNumber, PageUse use = PageUse::Lasting,
                          std::uint32_t pagesToFollow = 0);

 private:
  // Pages that were read alone lately; enough for lookups that go through several tables at once.
  static constexpr std::size_t RECENT_PAGES = 8;

  [[nodiscard]] Page Show(std::uint32_t pageNumber, std::shared_ptr<PageBlock> block,
                          std::uint32_t pageInBlock) const;
  [[nodiscard]] Page ReadAlone(std::uint32_t pageNumber);
  // Whether the page before this one has just been read, so that more are likely to follow.
  [[nodiscard]] bool GoesOn(std::uint32_t pageNumber);
  void ReadHeader();
  // Throws `error`, if there is one, where nothing can be guessed.
  void SalvageHeader(const std::optional<FileHeader>& header,
                     const std::optional<DatabaseError>& error);
  void Load(PageBlock& block, std::uint32_t pageInBlock, std::uint32_t pagesToFollow);
  void LoadRun(PageBlock& block, std::uint32_t pageInBlock, std::uint32_t count);
  [[nodiscard]] std::uint32_t PagesToLoad(const PageBlock& block, std::uint32_t pageInBlock,
                                          std::uint32_t pagesToFollow) const;
  void ReadInto(std::span<std::byte> target, std::uint32_t firstPage) const;

  std::unique_ptr<RandomAccessFile> file_;
  DamageReporter& damage_;
  std::size_t cacheBytes_;
  FileHeader header_;
  bool isOpen_ = false;
  std::uint64_t changeStamp_ = 0;
  std::uint64_t sizeBytes_ = 0;
  std::uint32_t pageCount_ = 0;
  std::uint64_t pagesRead_ = 0;
  std::uint32_t pagesPerBlock_ = 1;
  PageCache runs_;   // blocks of several pages
  PageCache pages_;  // blocks of one page
  std::array<std::uint32_t, RECENT_PAGES> recent_{};
  std::size_t nextRecent_ = 0;
};

}  // namespace nimport::jet

#endif  // NIMPORT_JET_STORAGE_PAGE_FILE_H_
