#include "jet/query/query_index.h"

#include <algorithm>
#include <tuple>

namespace nimport::jet {

void RowNumberIndex::Sort() {
  std::sort(entries_.Items().begin(), entries_.Items().end(),
            [](const Entry& left, const Entry& right) {
              return std::tie(left.value, left.row) < std::tie(right.value, right.row);
            });
}

std::span<const RowNumberIndex::Entry> RowNumberIndex::Find(std::int32_t value) const {
  const std::vector<Entry>& entries = entries_.Items();
  const auto first = std::lower_bound(
      entries.begin(), entries.end(), value,
      [](const Entry& entry, std::int32_t sought) { return entry.value < sought; });
  const auto last = std::upper_bound(
      first, entries.end(), value,
      [](std::int32_t sought, const Entry& entry) { return sought < entry.value; });
  return {first, last};
}

}  // namespace nimport::jet
