#ifndef NIMPORT_FUZZ_FUZZ_INPUT_H_
#define NIMPORT_FUZZ_FUZZ_INPUT_H_

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <string>
#include <string_view>

namespace nimport::fuzz {

inline std::string_view ToText(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

// Ends the run as a finding when something that always holds does not.
inline void Check(bool holds) {
  if (!holds) std::abort();
}

// Ends the run as a finding when its scope takes more processor time than input of this size may,
// even under sanitizers: `seconds`, and 20 ms a KiB.
class TimeLimit {
 public:
  explicit TimeLimit(std::size_t sizeBytes, std::clock_t seconds = 1)
      : end_(std::clock() + seconds * CLOCKS_PER_SEC +
             static_cast<std::clock_t>(sizeBytes >> 10) * CLOCKS_PER_SEC / 50) {}
  ~TimeLimit() { Check(std::clock() < end_); }
  TimeLimit(const TimeLimit&) = delete;
  TimeLimit& operator=(const TimeLimit&) = delete;

 private:
  std::clock_t end_;
};

// Runs `run` on `text` within its time; one input in sixteen again, repeated up to 64 KiB, where
// time that grows with the square of the size shows.
template <typename Run>
void RunInTime(std::string_view text, Run run) {
  const auto runOne = [&](std::string_view input) {
    const TimeLimit limit(input.size());
    run(input);
  };
  runOne(text);
  if (text.empty() || text.size() % 16 != 0) return;
  std::string repeated;
  while (repeated.size() < std::size_t{1} << 16)
    repeated += text;
  runOne(repeated);
}

}  // namespace nimport::fuzz

#endif  // NIMPORT_FUZZ_FUZZ_INPUT_H_
