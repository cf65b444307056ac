#include "jet/storage/page_cache.h"

#include <algorithm>
#include <utility>

namespace nimport::jet {

PageCache::PageCache(std::size_t blockBytes, std::size_t cacheBytes)
    : blockBytes_(blockBytes), maxBlocks_(std::max<std::size_t>(cacheBytes / blockBytes, 4)) {}

void PageCache::Reset(std::uint32_t blockCount) {
  present_.clear();
  hand_ = 0;
  positions_.assign(blockCount, NOT_HERE);
}

std::shared_ptr<PageBlock> PageCache::Add(std::uint32_t number) {
  auto block = std::make_shared<PageBlock>();
  block->number = number;
  block->bytes = MakeRoom();
  present_.push_back(block);
  positions_[number] = static_cast<std::uint32_t>(present_.size() - 1);
  return block;
}

std::unique_ptr<std::byte[]> PageCache::MakeRoom() {
  std::unique_ptr<std::byte[]> bytes;
  // More than one where blocks that were held have let the cache grow.
  while (present_.size() >= maxBlocks_) {
    bytes = DropOne();
    if (!bytes) break;
  }
  if (!bytes) bytes = std::make_unique_for_overwrite<std::byte[]>(blockBytes_);
  return bytes;
}

std::unique_ptr<std::byte[]> PageCache::DropOne() {
  // In the first round every block may have been used; in the second none.
  for (std::size_t looked = 0; looked < 2 * present_.size(); ++looked) {
    if (hand_ >= present_.size()) hand_ = 0;
    const std::shared_ptr<PageBlock>& block = present_[hand_];
    if (block.use_count() == 1 && !std::exchange(block->wasUsed, false)) return Drop(hand_);
    ++hand_;
  }
  return nullptr;
}

std::unique_ptr<std::byte[]> PageCache::Drop(std::size_t position) {
  std::shared_ptr<PageBlock>& block = present_[position];
  std::unique_ptr<std::byte[]> bytes = std::move(block->bytes);
  positions_[block->number] = NOT_HERE;
  if (position + 1 < present_.size()) {
    block = std::move(present_.back());
    positions_[block->number] = static_cast<std::uint32_t>(position);
  }
  present_.pop_back();
  return bytes;
}

}  // namespace nimport::jet
