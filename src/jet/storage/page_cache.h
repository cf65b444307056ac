#ifndef NIMPORT_JET_STORAGE_PAGE_CACHE_H_
#define NIMPORT_JET_STORAGE_PAGE_CACHE_H_

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <span>
#include <vector>

namespace nimport::jet {

// Neighbouring pages of a file, or a single one, in memory. Aligned: block b begins with page
// b * pages per block.
struct PageBlock {
  std::uint32_t number = 0;
  std::uint32_t loaded = 0;  // bit i: the block's page i has been read
  bool wasUsed = false;      // since the cache last looked for room
  std::unique_ptr<std::byte[]> bytes;
};

// One page of the file, decoded. Its bytes are valid and unchanged as long as it (or a copy) lives.
struct Page {
  std::uint32_t number = 0;
  std::span<const std::byte> bytes;
  std::shared_ptr<const PageBlock> keeper;
};

// Blocks of pages that have been read, found by their number at once. Room is made by dropping
// blocks that nobody holds and that have not been used for a while; blocks that are held stay, so
// what was handed out is valid as long as it is held, even beyond the cache's size.
class PageCache {
 public:
  // `cacheBytes` counts the pages' bytes; a few blocks are kept in any case.
  PageCache(std::size_t blockBytes, std::size_t cacheBytes);

  // Forgets everything, and expects a file with `blockCount` blocks.
  void Reset(std::uint32_t blockCount);

  // Null when the block is not there. `number` < blockCount.
  [[nodiscard]] std::shared_ptr<PageBlock> Find(std::uint32_t number) {
    const std::uint32_t position = positions_[number];
    if (position == NOT_HERE) return nullptr;
    present_[position]->wasUsed = true;
    return present_[position];
  }

  // As Find; a block that is not there yet comes with no page loaded.
  [[nodiscard]] std::shared_ptr<PageBlock> Get(std::uint32_t number) {
    std::shared_ptr<PageBlock> found = Find(number);
    return found ? found : Add(number);
  }

 private:
  static constexpr std::uint32_t NOT_HERE = std::numeric_limits<std::uint32_t>::max();

  [[nodiscard]] std::shared_ptr<PageBlock> Add(std::uint32_t number);
  // Memory for one more block: that of one that was dropped, or new.
  [[nodiscard]] std::unique_ptr<std::byte[]> MakeRoom();
  // The memory of any block that was dropped; null when every block is held.
  [[nodiscard]] std::unique_ptr<std::byte[]> DropOne();
  // The memory of the block at this position of present_.
  [[nodiscard]] std::unique_ptr<std::byte[]> Drop(std::size_t position);

  std::size_t blockBytes_;
  std::size_t maxBlocks_;
  std::vector<std::uint32_t> positions_;  // in present_, by number
  std::vector<std::shared_ptr<PageBlock>> present_;
  std::size_t hand_ = 0;  // in present_: where to look for room next
};

}  // namespace nimport::jet

#endif  // NIMPORT_JET_STORAGE_PAGE_CACHE_H_
