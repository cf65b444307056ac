#include "jet/damage.h"

namespace nimport::jet {

void RethrowAt(const DatabaseError& error, const ErrorPlace& place) {
  ErrorPlace whole = error.place();
  if (whole.file.empty()) whole.file = place.file;
  if (!whole.page) whole.page = place.page;
  if (whole.table.empty()) whole.table = place.table;
  if (!whole.slot) whole.slot = place.slot;
  if (whole.column.empty()) whole.column = place.column;
  throw DatabaseError(whole, error.reason());
}

void DamageReporter::Report(const DatabaseError& damage) {
  if (listener_ == nullptr) throw damage;
  const ErrorPlace& place = damage.place();
  // A row's key is its slot counted from 1, so that its page has a key of its own.
  const std::uint64_t slot = place.slot ? std::uint64_t{*place.slot} + 1 : 0;
  const std::uint64_t key = std::uint64_t{place.page.value_or(0)} << 32 | slot;
  if (told_.size() >= MAX_PLACES || !told_.insert(key).second) return;
  listener_->OnDamage(damage);
}

}  // namespace nimport::jet
