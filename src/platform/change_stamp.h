#ifndef NIMPORT_PLATFORM_CHANGE_STAMP_H_
#define NIMPORT_PLATFORM_CHANGE_STAMP_H_

#include <cstdint>

namespace nimport::platform {

// A number made of what is known of a file's state, other states giving other numbers.
class ChangeStamp {
 public:
  void Add(std::uint64_t fact);

  // The time of the last write and the time now, in nanoseconds of the same clock. A change so soon
  // after another may leave the file's time stamp as it is, because systems take it from a clock
  // that ticks only so often; as long as it does not tell, every answer is a new one.
  void AddLastWrite(std::int64_t writtenNanoseconds, std::int64_t nowNanoseconds);

  [[nodiscard]] std::uint64_t value() const { return value_; }

 private:
  std::uint64_t value_ = 0;
};

}  // namespace nimport::platform

#endif  // NIMPORT_PLATFORM_CHANGE_STAMP_H_
