#ifndef NIMPORT_JET_PAGE_CACHE_H_
#define NIMPORT_JET_PAGE_CACHE_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace nimport::jet {

// Neighbouring pages of a file, in memory. Aligned: block b begins with page b * pages per block.
struct PageBlock {
  std::uint32_t number = 0;
  std::uint32_t loaded = 0;  // bit i: the block's page i has been read
  bool wasUsed = false;      // since the cache last looked for room
  std::unique_ptr<std::byte[]> bytes;
};

// Blocks of pages that have been read, found by their number at once. Room is made by dropping
// blocks that nobody holds and that have not been used for a while; blocks that are held stay, so
// what was handed out is valid as long as it is held, even beyond the cache's size.
class PageCache {
 public:
  static constexpr std::size_t BLOCK_BYTES = std::size_t{64} << 10;

  // `cacheBytes` counts the pages' bytes; a few blocks are kept in any case.
  explicit PageCache(std::size_t cacheBytes);

  // Forgets everything, and expects a file with `blockCount` blocks.
  void Reset(std::uint32_t blockCount);

  // A block that is not there yet comes with no page loaded. `number` < blockCount.
  [[nodiscard]] std::shared_ptr<PageBlock> Get(std::uint32_t number) {
    const std::shared_ptr<PageBlock>& block = byNumber_[number];
    if (!block) return Add(number);
    block->wasUsed = true;
    return block;
  }

 private:
  [[nodiscard]] std::shared_ptr<PageBlock> Add(std::uint32_t number);
  // The memory of a block that was dropped; null when every block is held.
  [[nodiscard]] std::unique_ptr<std::byte[]> DropOne();

  std::size_t maxBlocks_;
  std::vector<std::shared_ptr<PageBlock>> byNumber_;  // null: not in memory
  std::vector<std::uint32_t> present_;                // numbers of the blocks in memory
  std::size_t hand_ = 0;                              // in present_: where to look for room next
};

}  // namespace nimport::jet

#endif  // NIMPORT_JET_PAGE_CACHE_H_
