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
// that hold a single row of interest, as long values do, are read once.
enum class ReadHint { Once, Reuse };

// The file as a sequence of pages. Errors are DatabaseErrors with file and page.
//
// There are two caches, and a page may be in either, in both or in none. `runs_` holds blocks of
// pages that were read one after the other, as a scan does: sixteen blocks, which stay in the
// processor's cache. `pages_` holds single pages that lookups asked for, here and there in the
// file; it has all of the memory, and no scan takes it from them. A page that is in neither goes
// into `runs_` when the page before it is there or was read lately (ContinuesScan), else by its
// hint.
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

  // `pagesToFollow` is the number of pages after this one that the caller is about to read too: as
  // many of them as lie in the same block are read in one piece. Page 0 and pages outside the file
  // are errors.
  [[nodiscard]] Page Read(std::uint32_t pageNumber, ReadHint hint = ReadHint::Reuse,
                          std::uint32_t pagesToFollow = 0);

 private:
  // Pages that were read alone lately; enough for lookups that go through several tables at once.
  static constexpr std::size_t RECENT_PAGES = 8;

  [[nodiscard]] Page Show(std::uint32_t pageNumber, std::shared_ptr<PageBlock> block,
                          std::uint32_t pageInBlock) const;
  [[nodiscard]] Page ReadAlone(std::uint32_t pageNumber);
  // Whether the page before this one has just been read, so that more are likely to follow.
  [[nodiscard]] bool ContinuesScan(std::uint32_t pageNumber);
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
