#ifndef NIMPORT_JET_PAGE_CACHE_H_
#define NIMPORT_JET_PAGE_CACHE_H_

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

namespace nimport::jet {

// Neighbouring pages of a file, in memory. Aligned: block b begins with page b * pages per block.
struct PageBlock {
  std::uint32_t number = 0;
  std::uint32_t loaded = 0;  // bit i: the block's page i has been read
  bool wasUsed = false;      // lastingly, since the cache last looked for room
  std::unique_ptr<std::byte[]> bytes;
};

// Whether a page is likely to be asked for again soon. The pages that a scan goes through and those
// that hold a single row of interest, as long values do, are passed by.
enum class PageUse { Passing, Lasting };

// Blocks of pages that have been read, found by their number at once. Room is made by dropping
// blocks that nobody holds and that have not been used for a while; blocks that are held stay, so
// what was handed out is valid as long as it is held, even beyond the cache's size.
//
// Pages that are passed by have only a few blocks to themselves, so that a scan of the whole file
// does not push out what lookups use, and runs in memory that the processor has at hand.
class PageCache {
 public:
  static constexpr std::size_t BLOCK_BYTES = std::size_t{64} << 10;
  static constexpr std::size_t PASSING_BLOCKS = 16;

  // `cacheBytes` counts the pages' bytes; a few blocks are kept in any case.
  explicit PageCache(std::size_t cacheBytes);

  // Forgets everything, and expects a file with `blockCount` blocks.
  void Reset(std::uint32_t blockCount);

  // A block that is not there yet comes with no page loaded. `number` < blockCount.
  [[nodiscard]] std::shared_ptr<PageBlock> Get(std::uint32_t number, PageUse use) {
    const std::shared_ptr<PageBlock>& block = byNumber_[number];
    if (!block) return Add(number, use);
    if (use == PageUse::Lasting) block->wasUsed = true;
    return block;
  }

 private:
  [[nodiscard]] std::shared_ptr<PageBlock> Add(std::uint32_t number, PageUse use);
  // Memory for one more block: that of one that was dropped, or new.
  [[nodiscard]] std::unique_ptr<std::byte[]> MakeRoom(PageUse use);
  // The memory of any block that was dropped; null when every block is held.
  [[nodiscard]] std::unique_ptr<std::byte[]> DropOne();
  // The memory of the oldest of the passing blocks; null while there may be more of them.
  [[nodiscard]] std::unique_ptr<std::byte[]> DropPassing();
  // The memory of the block at this position of present_.
  [[nodiscard]] std::unique_ptr<std::byte[]> Drop(std::size_t position);

  std::size_t maxBlocks_;
  std::vector<std::shared_ptr<PageBlock>> byNumber_;  // null: not in memory
  std::vector<std::uint32_t> present_;                // numbers of the blocks in memory
  std::size_t hand_ = 0;                              // in present_: where to look for room next
  std::deque<std::uint32_t> passing_;  // numbers of the blocks that came in so, by age
};

}  // namespace nimport::jet

#endif  // NIMPORT_JET_PAGE_CACHE_H_
