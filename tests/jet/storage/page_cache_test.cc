#include "jet/storage/page_cache.h"

#include <gtest/gtest.h>

namespace nimport::jet {
namespace {

constexpr std::uint32_t BLOCKS = 1000;
constexpr std::size_t BLOCK_BYTES = 512;
constexpr std::size_t CACHE_BLOCKS = 40;

class PageCacheTest : public ::testing::Test {
 protected:
  void SetUp() override { cache_.Reset(BLOCKS); }

  // Asks for a block and writes its number, so that it can be told from others.
  void Use(std::uint32_t number) { cache_.Get(number)->loaded = number; }
  bool Holds(std::uint32_t number) {
    const auto block = cache_.Find(number);
    return block && block->loaded == number;
  }

  PageCache cache_{BLOCK_BYTES, CACHE_BLOCKS* BLOCK_BYTES};
};

TEST_F(PageCacheTest, HoldsAsManyBlocksAsItMayAndFindsEachOfThem) {
  for (std::uint32_t i = 0; i < 5 * CACHE_BLOCKS; i += 3) {
    Use(i);
    EXPECT_TRUE(Holds(i));
  }
  std::size_t held = 0;
  for (std::uint32_t i = 0; i < BLOCKS; ++i)
    held += Holds(i) ? 1 : 0;
  EXPECT_EQ(held, CACHE_BLOCKS);
  cache_.Reset(BLOCKS);
  for (std::uint32_t i = 0; i < BLOCKS; ++i)
    EXPECT_FALSE(Holds(i)) << i;
}

TEST_F(PageCacheTest, BlockThatIsHeldStays) {
  const auto held = cache_.Get(7);
  held->bytes[0] = std::byte{0x5A};
  for (std::uint32_t i = 10; i < 500; ++i)
    Use(i);
  EXPECT_EQ(cache_.Find(7), held);
  EXPECT_EQ(held->bytes[0], std::byte{0x5A});
}

TEST_F(PageCacheTest, BlocksThatAreUsedStayBeforeThoseThatAreNot) {
  for (std::uint32_t i = 0; i < 3 * CACHE_BLOCKS; ++i) {
    Use(500);
    Use(i);
  }
  EXPECT_FALSE(Holds(0));
  EXPECT_TRUE(Holds(500));
  EXPECT_TRUE(Holds(3 * CACHE_BLOCKS - 1));
}

}  // namespace
}  // namespace nimport::jet
