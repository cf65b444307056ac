#include "jet/page_cache.h"

#include <gtest/gtest.h>

namespace nimport::jet {
namespace {

constexpr std::uint32_t BLOCKS = 1000;
constexpr std::size_t CACHE_BLOCKS = 40;

class PageCacheTest : public ::testing::Test {
 protected:
  void SetUp() override { cache_.Reset(BLOCKS); }

  // Asks for a block and marks it as loaded, so that a new one can be told from it.
  void Use(std::uint32_t number, PageUse use) { cache_.Get(number, use)->loaded = 1; }
  bool Holds(std::uint32_t number, PageUse use = PageUse::Passing) {
    return cache_.Get(number, use)->loaded == 1;
  }

  PageCache cache_{CACHE_BLOCKS * PageCache::BLOCK_BYTES};
};

TEST_F(PageCacheTest, ScanLeavesWhatLookupsUse) {
  for (std::uint32_t i = 0; i < 20; ++i)
    Use(i, PageUse::Lasting);
  for (std::uint32_t i = 100; i < BLOCKS; ++i)
    Use(i, PageUse::Passing);
  for (std::uint32_t i = 0; i < 20; ++i)
    EXPECT_TRUE(Holds(i)) << i;
  EXPECT_TRUE(Holds(BLOCKS - 1));
  EXPECT_FALSE(Holds(100));
}

TEST_F(PageCacheTest, BlockThatAScanBroughtInStaysWhenALookupUsesIt) {
  Use(500, PageUse::Passing);
  Use(500, PageUse::Lasting);
  for (std::uint32_t i = 0; i < 100; ++i)
    Use(i, PageUse::Passing);
  EXPECT_TRUE(Holds(500));
}

TEST_F(PageCacheTest, BlockThatIsHeldStays) {
  const auto held = cache_.Get(7, PageUse::Passing);
  held->bytes[0] = std::byte{0x5A};
  for (const PageUse use : {PageUse::Passing, PageUse::Lasting}) {
    for (std::uint32_t i = 10; i < 500; ++i)
      Use(i, use);
  }
  EXPECT_EQ(cache_.Get(7, PageUse::Passing), held);
  EXPECT_EQ(held->bytes[0], std::byte{0x5A});
}

TEST_F(PageCacheTest, LookupsPushOutWhatWasNotUsedForLongest) {
  for (std::uint32_t i = 0; i < 3 * CACHE_BLOCKS; ++i)
    Use(i, PageUse::Lasting);
  EXPECT_FALSE(Holds(0, PageUse::Lasting));
  EXPECT_TRUE(Holds(3 * CACHE_BLOCKS - 1, PageUse::Lasting));
}

}  // namespace
}  // namespace nimport::jet
