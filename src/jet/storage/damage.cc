#include "jet/storage/damage.h"

#include <functional>
#include <string>

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

namespace {

// Marks the keys of what has no page but a table or query alone. Pages have 24 bits.
constexpr std::uint64_t NO_PAGE = std::uint64_t{1} << 63;

}  // namespace

void DamageReporter::Report(const DatabaseError& damage) {
  if (listener_ == nullptr) throw damage;
  const ErrorPlace& place = damage.place();
  // A row's key is its slot counted from 1, so that its page has a key of its own.
  const std::uint64_t slot = place.slot ? std::uint64_t{*place.slot} + 1 : 0;
  const std::uint64_t key = place.page ? std::uint64_t{*place.page} << 32 | slot
                                       : NO_PAGE | std::hash<std::string>()(place.table);
  if (reported_.size() >= MAX_PLACES || !reported_.insert(key).second) return;
  tables_.insert(place.table);
  listener_->OnDamage(damage);
}

}  // namespace nimport::jet
