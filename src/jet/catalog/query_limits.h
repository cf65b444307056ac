#ifndef NIMPORT_JET_CATALOG_QUERY_LIMITS_H_
#define NIMPORT_JET_CATALOG_QUERY_LIMITS_H_

#include <atomic>
#include <cstdint>

namespace nimport::jet {

// The bounds of one stored query; a step takes about a nanosecond (QueryBudget).
struct QueryLimits {
  std::uint64_t steps = 0;
  std::uint64_t memoryBytes = 0;
  // May be null. The evaluation ends with Interrupted within milliseconds of its becoming true.
  const std::atomic<bool>* interruption = nullptr;

  // 2 seconds and 1 millisecond per KiB of the file: a million mails joined with their kinds and
  // sorted need a tenth of that. 64 MiB and eight times the file: row ids of a result and their
  // sort keys take less than the rows do in the file; two texts of the file's size may be compared.
  [[nodiscard]] static QueryLimits ForFile(std::uint64_t sizeBytes) {
    return {.steps = 2'000'000'000 + 1'000 * sizeBytes,
            .memoryBytes = (std::uint64_t{64} << 20) + 8 * sizeBytes};
  }
};

}  // namespace nimport::jet

#endif  // NIMPORT_JET_CATALOG_QUERY_LIMITS_H_
