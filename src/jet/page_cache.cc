#include "jet/page_cache.h"

#include <algorithm>
#include <utility>

namespace nimport::jet {

PageCache::PageCache(std::size_t cacheBytes)
    : maxBlocks_(std::max<std::size_t>(cacheBytes / BLOCK_BYTES, 4)) {}

void PageCache::Reset(std::uint32_t blockCount) {
  present_.clear();
  hand_ = 0;
  byNumber_.assign(blockCount, nullptr);
}

std::shared_ptr<PageBlock> PageCache::Add(std::uint32_t number) {
  auto block = std::make_shared<PageBlock>();
  block->number = number;
  block->wasUsed = true;
  // More than one where blocks that were held have let the cache grow.
  while (present_.size() >= maxBlocks_) {
    block->bytes = DropOne();
    if (!block->bytes) break;
  }
  if (!block->bytes) block->bytes = std::make_unique_for_overwrite<std::byte[]>(BLOCK_BYTES);
  present_.push_back(number);
  byNumber_[number] = block;
  return block;
}

std::unique_ptr<std::byte[]> PageCache::DropOne() {
  // In the first round every block may have been used; in the second none.
  for (std::size_t looked = 0; looked < 2 * present_.size(); ++looked) {
    if (hand_ >= present_.size()) hand_ = 0;
    std::shared_ptr<PageBlock>& block = byNumber_[present_[hand_]];
    if (block.use_count() == 1 && !std::exchange(block->wasUsed, false)) {
      std::unique_ptr<std::byte[]> bytes = std::move(block->bytes);
      block.reset();
      present_[hand_] = present_.back();
      present_.pop_back();
      return bytes;
    }
    ++hand_;
  }
  return nullptr;
}

}  // namespace nimport::jet
