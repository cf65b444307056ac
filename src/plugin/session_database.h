// Opening of the mail client's databases.
#ifndef NIMPORT_PLUGIN_SESSION_DATABASE_H_
#define NIMPORT_PLUGIN_SESSION_DATABASE_H_

#include <memory>
#include <string>
#include <string_view>

#include "jet/database.h"
#include "platform/platform.h"

namespace nimport::plugin {

// An open database of a session. Damage that is stepped over (Platform::IsSalvaging) is reported to
// the platform's diagnostics.
class SessionDatabase : private jet::DamageListener {
 public:
  // Opens the file at `path` (code page 932) for reading. `known` tells what it should hold, for a
  // damaged one. `platform` must outlive the object. Throws FileError or jet::DatabaseError.
  SessionDatabase(platform::Platform& platform, std::string_view path, jet::KnownObjects known);
  ~SessionDatabase() override;
  SessionDatabase(const SessionDatabase&) = delete;
  SessionDatabase& operator=(const SessionDatabase&) = delete;

  [[nodiscard]] jet::Database& get() { return *database_; }

  // What to call the file in messages, UTF-8.
  [[nodiscard]] const std::string& fileName() const { return fileName_; }

 private:
  void OnDamage(const jet::DatabaseError& damage) override;

  platform::Platform& platform_;
  std::string fileName_;
  std::unique_ptr<jet::Database> database_;
};

// What is known of a database's failure, for diagnostics. `function` and `code` are left empty.
[[nodiscard]] platform::FailureRecord ToFailureRecord(const jet::DatabaseError& error);

}  // namespace nimport::plugin

#endif  // NIMPORT_PLUGIN_SESSION_DATABASE_H_
