// Everything that belongs to one session.
#ifndef NIMPORT_PLUGIN_SESSION_CONTEXT_H_
#define NIMPORT_PLUGIN_SESSION_CONTEXT_H_

#include <cstdint>
#include <memory>
#include <optional>

#include "platform/platform.h"
#include "plugin/contents/temporary_files.h"
#include "plugin/mails/mail_store.h"
#include "plugin/mime_library/mime_session.h"
#include "plugin/session_database.h"
#include "store/addressbook/address_book.h"
#include "text/fixed_text.h"

namespace nimport::plugin {

// Which database a session works on. Fixed by the export that opens the session.
enum class SessionMode { Mail, AddressBook };

// A session from Initialize to Terminate. What is declared later is released earlier.
struct SessionContext {
  explicit SessionContext(platform::Platform& sessionPlatform)
      : platform(sessionPlatform),
        process(sessionPlatform.ProcessId()),
        temporaryNames(MakeTemporaryNames(sessionPlatform.files())) {}
  ~SessionContext();
  SessionContext(const SessionContext&) = delete;
  SessionContext& operator=(const SessionContext&) = delete;

  platform::Platform& platform;
  std::unique_ptr<MimeSession> mimeSession;
  text::PathText databaseDir;
  text::AccountText accountId;
  // The process that the temporary names are of, by which GetTemporaryNames notices a fork.
  std::int64_t process;
  TemporaryNames temporaryNames;
  std::unique_ptr<SessionDatabase> database;
  // Works on the database and the MIME session above; of a mail session only.
  std::unique_ptr<MailStore> mailStore;
  // The address book while it is open, and from a failed first open to the session's end.
  std::optional<addressbook::AddressBook> addressBookData;
  // Handles of the address book that are open.
  std::int32_t openBooks = 0;
};

}  // namespace nimport::plugin

#endif  // NIMPORT_PLUGIN_SESSION_CONTEXT_H_
