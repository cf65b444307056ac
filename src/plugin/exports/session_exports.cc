// Version, discovery, sessions.
#include <memory>
#include <string_view>
#include <utility>

#include "plugin/exports/export_guard.h"
#include "plugin/exports/result_string.h"
#include "plugin/handle_node.h"
#include "plugin/session.h"
#include "store/installation.h"

namespace nimport::plugin {
namespace {

constexpr std::string_view MAILER_NAME = "Nifty Manager";

constexpr std::int32_t INTERFACE_VERSION = 4;

ResultCode Initialize(const char* function, SessionMode mode, HandleNode** session) {
  if (session != nullptr) *session = nullptr;
  return RunExport(function, [&](ExportCall&) {
    HandleNode*& out = RequireOut(session);
    out = std::make_unique<HandleNode>(Session{OpenSession(mode)}).release();
  });
}

ResultCode Terminate(const char* function, HandleNode* session) {
  return RunExport(function, [&](ExportCall&) {
    if (FindHandle<Session>(session) == nullptr) FailInvalid("not a session handle");
    delete session;
  });
}

// Whether the mail client is there; what keeps it from being found goes to diagnostics alone.
ResultCode IsExistMailer(const char* function, std::int32_t* exists) {
  if (exists == nullptr) {
    return RunExport(function, [&](ExportCall&) { RequireOut(exists); });
  }
  const ResultCode found = RunExport(
      function, [](ExportCall&) { store::CheckInstallation(platform::PlatformForNewSessions()); });
  if (found == RESULT_OK) *exists = 1;
  return RESULT_OK;
}

ResultCode GetMailerName(const char* function, HandleNode* session, ResultString* text) {
  return RunExport(function, [&](ExportCall& call) {
    const SessionContext& context = call.RequireSession(session);
    WriteResultString(text, MAILER_NAME, context.platform.text());
  });
}

}  // namespace
}  // namespace nimport::plugin

using namespace nimport;
using namespace nimport::plugin;

std::int32_t NIMPORT_CALL QV_GetVersion(void) {
  return INTERFACE_VERSION;
}

ResultCode NIMPORT_CALL ML_IsExistMailer(std::int32_t* exists) {
  return IsExistMailer("ML_IsExistMailer", exists);
}

ResultCode NIMPORT_CALL AD_IsExistMailer(const void*, std::int32_t* exists) {
  return IsExistMailer("AD_IsExistMailer", exists);
}

ResultCode NIMPORT_CALL ML_Initialize(HandleNode** session) {
  return Initialize("ML_Initialize", SessionMode::Mail, session);
}

ResultCode NIMPORT_CALL AD_Initialize(HandleNode** session) {
  return Initialize("AD_Initialize", SessionMode::AddressBook, session);
}

ResultCode NIMPORT_CALL ML_Terminate(HandleNode* session) {
  return Terminate("ML_Terminate", session);
}

ResultCode NIMPORT_CALL AD_Terminate(HandleNode* session) {
  return Terminate("AD_Terminate", session);
}

ResultCode NIMPORT_CALL ML_GetMailerName(HandleNode* session, ResultString* text) {
  return GetMailerName("ML_GetMailerName", session, text);
}

ResultCode NIMPORT_CALL AD_GetMailerName(HandleNode* session, ResultString* text) {
  return GetMailerName("AD_GetMailerName", session, text);
}
