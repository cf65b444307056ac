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

using Values = std::vector<std::int32_t>;

Values Numbers(std::int32_t first, std::int32_t count, std::int32_t step) {
  Values values;
  for (std::int32_t i = 0; i < count; ++i)
    values.push_back(first + i * step);
  return values;
}

Values Join(Values a, const Values& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

Values Random(std::int32_t low, std::int32_t high) {
  std::mt19937 generator(19980406);
  std::uniform_int_distribution<std::int32_t> distribution(low, high);
  Values values(400);
  std::ranges::generate(values, [&] { return distribution(generator); });
  return values;
}

// Every value near one that is there, against counting.
TEST(FindInIndex, FindsAllEntriesOfAValueWhateverTheDistribution) {
  const struct {
    const char* why;
    Values values;
  } CASES[] = {
      {"empty", {}},
      {"one", {7}},
      {"numbers given one after the other", Numbers(1'000'001, 500, 1)},
      {"gaps, so that the guess falls between", Numbers(-300, 200, 3)},
      {"one value only: nothing to guess by", Values(100, 5)},
      {"ends of the range", Join({MIN, MIN, MAX}, Numbers(-2, 5, 1))},
      {"the guess is always far too high", Join(Numbers(1, 300, 1), {MAX})},
      {"the guess is always far too low", Join({MIN}, Numbers(1, 300, 1))},
      {"long runs beside single values", Join(Values(257, 3), Join(Values(64, 9), {1, 4, 8, 10}))},
      {"many duplicates at random", Random(-20, 20)},
      {"sparse at random", Random(MIN, MAX)},
  };
  for (const auto& [why, values] : CASES) {
    std::vector<IndexEntry> index;
    for (const std::int32_t value : values)
      index.push_back({value, static_cast<std::uint32_t>(index.size())});
    SortIndex(index);
    Values sought{MIN, -1, 0, 1, MAX};
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
