#include "plugin/session.h"

#include <new>
#include <utility>

#include "common/failure.h"
#include "common/file_error.h"
#include "jet/database_error.h"
#include "plugin/contents/temporary_files.h"
#include "plugin/mime_library/mime_session.h"
#include "store/addressbook/address_book_loader.h"
#include "store/addressbook/address_table.h"
#include "store/installation.h"
#include "store/known_objects.h"

namespace nimport::plugin {
namespace {

void OpenMimeSession(SessionContext& context) {
  context.mimeSession = MimeSession::Open(context.platform.modules());
  if (context.mimeSession == nullptr) {
    FailInvalid("the MIME library (Wexmail) cannot be loaded or does not work");
  }
}

void OpenDatabaseFile(SessionContext& context, std::string_view file, jet::KnownObjects known) {
  const text::PathText path = store::RequireDatabase(context.platform, context.databaseDir, file);
  try {
    context.database =
        std::make_unique<SessionDatabase>(context.platform, path.str(), std::move(known));
  } catch (const FileMissing& error) {
    FailInvalid("no database " + error.description());
  } catch (const FileError& error) {
    FailDatabase(error.what());
  } catch (const jet::DatabaseError& error) {
    FailDatabase(error.what());
  } catch (const std::bad_alloc&) {
    FailDatabase("no memory to open " + context.platform.files().NativeName(path.str()));
  }
}

// Fills the context's directory and member ID from the platform and opens the database of `mode`.
// Throws Failure: -3 when a setting or the database is missing, -2 when the database cannot be
// opened.
void DiscoverInstallation(SessionContext& context, SessionMode mode) {
  context.databaseDir = store::FindDatabaseDirectory(context.platform);
  context.accountId = store::FindMemberId(context.platform);
  if (mode == SessionMode::AddressBook) {
    OpenDatabaseFile(context, store::ADDRESS_DATABASE_FILE, addressbook::KnownAddressObjects());
  } else {
    OpenDatabaseFile(context, store::MAIL_DATABASE_FILE, store::KnownMailObjects());
  }
}

// Whatever keeps the mail client's data from being found or opened, a host learns only that it did.
void DiscoverForSession(SessionContext& context, SessionMode mode) {
  try {
    DiscoverInstallation(context, mode);
  } catch (const Failure& failure) {
    FailInvalid(failure.what());
  } catch (const std::bad_alloc&) {
    FailInvalid("out of memory");
  }
}

}  // namespace

SessionContext::~SessionContext() {
  CloseSession(*this);
}

std::unique_ptr<SessionContext> OpenSession(SessionMode mode) {
  auto context = std::make_unique<SessionContext>(platform::PlatformForNewSessions());
  OpenMimeSession(*context);
  DiscoverForSession(*context, mode);
  if (mode == SessionMode::Mail) {
    context->mailStore = std::make_unique<MailStore>(
        context->platform, *context->mimeSession, context->database->get(), context->databaseDir);
  }
  return context;
}

TemporaryNames& GetTemporaryNames(SessionContext& context) noexcept {
  const std::int64_t process = context.platform.ProcessId();
  if (std::exchange(context.process, process) != process) context.temporaryNames.Forget();
  return context.temporaryNames;
}

void CloseSession(SessionContext& context) noexcept {
  TemporaryNames& names = GetTemporaryNames(context);
  RemoveTemporaryFiles(names, context.platform.files());
  names.Forget();
  context.mailStore.reset();
  context.database.reset();
  context.accountId.clear();
  context.databaseDir.clear();
  context.mimeSession.reset();
  addressbook::ReleaseAddressBook(context.addressBookData);
}

}  // namespace nimport::plugin
