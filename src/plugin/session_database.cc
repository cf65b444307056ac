#include "plugin/session_database.h"

#include <utility>

namespace nimport::plugin {

SessionDatabase::SessionDatabase(platform::Platform& platform, std::string_view path,
                                 jet::KnownObjects known)
    : platform_(platform), fileName_(platform.files().NativeName(path)) {
  jet::OpenOptions options;
  options.textCodePage = text::CODE_PAGE_JAPANESE;
  options.known = std::move(known);
  if (platform.IsSalvaging()) options.damageListener = this;
  database_ = jet::Database::Open(platform.files().OpenForReading(path), platform.text(), options);
}

SessionDatabase::~SessionDatabase() = default;

void SessionDatabase::OnDamage(const jet::DatabaseError& damage) {
  if (platform_.diagnostics().IsOn()) platform_.diagnostics().Report(ToFailureRecord(damage));
}

platform::FailureRecord ToFailureRecord(const jet::DatabaseError& error) {
  platform::FailureRecord record;
  record.reason = error.what();
  record.file = error.place().file;
  record.page = error.place().page;
  record.table = error.place().table;
  record.slot = error.place().slot;
  return record;
}

}  // namespace nimport::plugin
