// Rows by an integer that they have, for lookups: eight bytes a row.
#ifndef NIMPORT_JET_STORAGE_INTEGER_INDEX_H_
#define NIMPORT_JET_STORAGE_INTEGER_INDEX_H_

#include <cstdint>
#include <span>

namespace nimport::jet {

struct IndexEntry {
  std::int32_t value = 0;
  std::uint32_t row = 0;  // RowId::packed, or the number of a row in a list
};

// By value, then by row.
void SortIndex(std::span<IndexEntry> index);

// The entries with one value, in the order of their rows. `index` is sorted.
[[nodiscard]] std::span<const IndexEntry> FindInIndex(std::span<const IndexEntry> index,
                                                      std::int32_t value);

}  // namespace nimport::jet

#endif  // NIMPORT_JET_STORAGE_INTEGER_INDEX_H_
