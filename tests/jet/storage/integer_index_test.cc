#include "jet/storage/integer_index.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include <gtest/gtest.h>

namespace nimport::jet {
namespace {

constexpr std::int32_t MIN = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t MAX = std::numeric_limits<std::int32_t>::max();

std::vector<IndexEntry> MakeIndex(std::vector<std::int32_t> values) {
  std::sort(values.begin(), values.end());
  std::vector<IndexEntry> index;
  for (const std::int32_t value : values) {
    index.push_back({value, static_cast<std::uint32_t>(index.size())});
  }
  return index;
}

std::vector<std::int32_t> Repeat(std::int32_t value, std::size_t times) {
  return std::vector<std::int32_t>(times, value);
}

std::vector<std::int32_t> Numbers(std::int32_t first, std::int32_t count, std::int32_t step) {
  std::vector<std::int32_t> values;
  for (std::int32_t i = 0; i < count; ++i)
    values.push_back(first + i * step);
  return values;
}

std::vector<std::int32_t> Join(std::vector<std::int32_t> a, const std::vector<std::int32_t>& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

std::vector<std::int32_t> Random(std::int32_t low, std::int32_t high, std::size_t count) {
  std::mt19937 generator(19980406);
  std::uniform_int_distribution<std::int32_t> distribution(low, high);
  std::vector<std::int32_t> values(count);
  std::generate(values.begin(), values.end(), [&] { return distribution(generator); });
  return values;
}

// Every value near one that is there, against counting.
TEST(FindInIndex, FindsAllEntriesOfAValueWhateverTheDistribution) {
  const struct {
    const char* why;
    std::vector<std::int32_t> values;
  } CASES[] = {
      {"empty", {}},
      {"one", {7}},
      {"numbers given one after the other", Numbers(1'000'001, 500, 1)},
      {"gaps, so that the guess falls between", Numbers(-300, 200, 3)},
      {"one value only: nothing to guess by", Repeat(5, 100)},
      {"ends of the range", Join({MIN, MIN, MAX}, Numbers(-2, 5, 1))},
      {"the guess is always far too high", Join(Numbers(1, 300, 1), {MAX})},
      {"the guess is always far too low", Join({MIN}, Numbers(1, 300, 1))},
      {"long runs beside single values", Join(Repeat(3, 257), Join(Repeat(9, 64), {1, 4, 8, 10}))},
      {"many duplicates at random", Random(-20, 20, 400)},
      {"sparse at random", Random(MIN, MAX, 400)},
  };
  for (const auto& [why, values] : CASES) {
    const std::vector<IndexEntry> index = MakeIndex(values);
    std::vector<std::int32_t> sought{MIN, -1, 0, 1, MAX};
    for (const std::int32_t value : values) {
      sought.push_back(value);
      if (value > MIN) sought.push_back(value - 1);
      if (value < MAX) sought.push_back(value + 1);
    }
    for (const std::int32_t value : sought) {
      const auto found = FindInIndex(index, value);
      const auto count = std::count(values.begin(), values.end(), value);
      ASSERT_EQ(static_cast<std::ptrdiff_t>(found.size()), count) << why << ": " << value;
      for (const IndexEntry& entry : found)
        ASSERT_EQ(entry.value, value) << why;
    }
  }
}

}  // namespace
}  // namespace nimport::jet
