// Damage: errors gain their place on the way up, and damage that can be stepped over is reported to
// the listener.
#ifndef NIMPORT_JET_STORAGE_DAMAGE_H_
#define NIMPORT_JET_STORAGE_DAMAGE_H_

#include <cstdint>
#include <string>
#include <unordered_set>

#include "jet/database_error.h"

namespace nimport::jet {

// Throws `error` again, with those parts of `place` that it does not know itself.
[[noreturn]] void RethrowAt(const DatabaseError& error, const ErrorPlace& place);

// Where damage of one open database goes.
class DamageReporter {
 public:
  // `listener` may be null and must outlive the reporter.
  explicit DamageReporter(DamageListener* listener) : listener_(listener) {}

  // Whether damage is stepped over: somebody listens to it.
  [[nodiscard]] bool IsSalvaging() const { return listener_ != nullptr; }

  // Without a listener throws `damage`. With one reports it, once for each place (page and slot, or
  // the table or query where there is no page), and returns: the caller leaves out what is damaged.
  void Report(const DatabaseError& damage);

  // Whether damage to the table was reported.
  [[nodiscard]] bool HasReported(const std::string& table) const { return tables_.contains(table); }

 private:
  // More places than this are not remembered and not reported, so that a file of nothing but damage
  // does not fill memory.
  static constexpr std::size_t MAX_PLACES = 1U << 16;

  DamageListener* listener_;
  std::unordered_set<std::uint64_t> reported_;
  std::unordered_set<std::string> tables_;
};

}  // namespace nimport::jet

#endif  // NIMPORT_JET_STORAGE_DAMAGE_H_
