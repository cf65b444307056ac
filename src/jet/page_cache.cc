#include "jet/page_cache.h"

#include <algorithm>
#include <utility>

namespace nimport::jet {

PageCache::PageCache(std::size_t cacheBytes)
    : maxBlocks_(std::max<std::size_t>(cacheBytes / BLOCK_BYTES, 4)) {}

void PageCache::Reset(std::uint32_t blockCount) {
  present_.clear();
  passing_.clear();
  hand_ = 0;
  byNumber_.assign(blockCount, nullptr);
}

std::shared_ptr<PageBlock> PageCache::Add(std::uint32_t number, PageUse use) {
  auto block = std::make_shared<PageBlock>();
  block->number = number;
  block->wasUsed = use == PageUse::Lasting;
  block->bytes = MakeRoom(use);
  present_.push_back(number);
  if (use == PageUse::Passing) passing_.push_back(number);
  byNumber_[number] = block;
  return block;
}

std::unique_ptr<std::byte[]> PageCache::MakeRoom(PageUse use) {
  std::unique_ptr<std::byte[]> bytes;
  if (use == PageUse::Passing) bytes = DropPassing();
  // More than one where blocks that were held have let the cache grow.
  while (present_.size() >= maxBlocks_) {
    bytes = DropOne();
    if (!bytes) break;
  }
  if (!bytes) bytes = std::make_unique_for_overwrite<std::byte[]>(BLOCK_BYTES);
  return bytes;
}

std::unique_ptr<std::byte[]> PageCache::DropOne() {
  // In the first round every block may have been used; in the second none.
  for (std::size_t looked = 0; looked < 2 * present_.size(); ++looked) {
    if (hand_ >= present_.size()) hand_ = 0;
    const std::shared_ptr<PageBlock>& block = byNumber_[present_[hand_]];
    if (block.use_count() == 1 && !std::exchange(block->wasUsed, false)) return Drop(hand_);
    ++hand_;
  }
  return nullptr;
}

std::unique_ptr<std::byte[]> PageCache::DropPassing() {
  while (passing_.size() >= PASSING_BLOCKS) {
    const std::uint32_t number = passing_.front();
    passing_.pop_front();
    const std::shared_ptr<PageBlock>& block = byNumber_[number];
    if (!block || block->wasUsed || block.use_count() > 1) continue;
    const auto position = std::find(present_.begin(), present_.end(), number);
    return Drop(static_cast<std::size_t>(position - present_.begin()));
  }
  return nullptr;
}

std::unique_ptr<std::byte[]> PageCache::Drop(std::size_t position) {
  std::shared_ptr<PageBlock>& block = byNumber_[present_[position]];
  std::unique_ptr<std::byte[]> bytes = std::move(block->bytes);
  block.reset();
  present_[position] = present_.back();
  present_.pop_back();
  return bytes;
}

}  // namespace nimport::jet
