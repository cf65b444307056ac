#include "plugin/session.h"

#include <new>
#include <utility>

#include "common/failure.h"
#include "jet/database_error.h"
#include "platform/mime_session.h"
#include "plugin/contents/temporary_files.h"
#include "plugin/discovery.h"
#include "store/addressbook/address_book_loader.h"

namespace nimport {
namespace {

void OpenMimeSession(MailerContext& context) {
  context.mimeSession = mime::MimeSession::Open(context.platform.modules());
  if (context.mimeSession == nullptr) {
    FailInvalid("the MIME library (Wexmail) cannot be loaded or does not work");
  }
}

// Whatever keeps the mail client's data from being found or opened, a host learns only that it did.
void DiscoverForSession(MailerContext& context, SessionMode mode) {
  try {
    DiscoverInstallation(context, mode);
  } catch (const Failure& failure) {
    FailInvalid(failure.what());
  } catch (const std::bad_alloc&) {
    FailInvalid("out of memory");
  }
}

}  // namespace

MailerContext::~MailerContext() {
  CloseSession(*this);
}

std::unique_ptr<MailerContext> OpenSession(SessionMode mode) {
  auto context = std::make_unique<MailerContext>(platform::PlatformForNewSessions());
  OpenMimeSession(*context);
  DiscoverForSession(*context, mode);
  if (mode == SessionMode::Mail) {
    context->mailStore = std::make_unique<mailstore::MailStore>(
        context->platform, *context->mimeSession, context->database->get(), context->databaseDir);
  }
  return context;
}

extraction::TemporaryNames& GetTemporaryNames(MailerContext& context) noexcept {
  const std::int64_t process = context.platform.ProcessId();
  if (std::exchange(context.process, process) != process) context.temporaryNames.Forget();
  return context.temporaryNames;
}

void CloseSession(MailerContext& context) noexcept {
  extraction::TemporaryNames& names = GetTemporaryNames(context);
  extraction::RemoveTemporaryFiles(names, context.platform.files());
  names.Forget();
  context.mailStore.reset();
  context.database.reset();
  context.accountId.clear();
  context.databaseDir.clear();
  context.mimeSession.reset();
  addressbook::ReleaseAddressBook(context.addressBookData);
}

}  // namespace nimport
