// One mail: header fields, dates, source, bodies and attached files.
#include <optional>
#include <string>

#include "nimport/nimport.h"
#include "plugin/contents/attached_mails.h"
#include "plugin/contents/mail_bodies.h"
#include "plugin/contents/mail_source.h"
#include "plugin/exports/result_string.h"
#include "plugin/mail_handles.h"
#include "plugin/mails/header_summary.h"
#include "plugin/mails/mail_time.h"
#include "plugin/session.h"
#include "text/composition.h"

namespace nimport::plugin {
namespace {

using store::FieldSelector;

// Which mail an export was asked for.
struct MailArguments {
  HandleNode* session;
  HandleNode* folder;
  std::int32_t mail;
};

// Runs `work(context, store, folder)` on the mail's open folder.
template <typename Work>
ResultCode RunOnMail(const char* function, const MailArguments& arguments, Work&& work) noexcept {
  return RunExport(function, [&](ExportCall& call) {
    SessionContext& context = call.RequireSession(arguments.session);
    const std::int32_t folder = RequireOpenMailFolder(arguments.folder).position;
    call.SetMail(folder, arguments.mail);
    work(context, RequireMailStore(context), folder);
  });
}

ResultCode GetField(const char* function, const MailArguments& arguments, FieldSelector selector,
                    std::int32_t body, ResultString* text) {
  return RunOnMail(
      function, arguments, [&](SessionContext& context, MailStore& store, std::int32_t folder) {
        const text::ValueText value = GetMailField(store, folder, arguments.mail, selector, body);
        WriteResultString(text, value.str(), context.platform.text());
      });
}

ResultCode GetTime(const char* function, const MailArguments& arguments, std::int32_t* date) {
  return RunOnMail(function, arguments,
                   [&](SessionContext&, MailStore& store, std::int32_t folder) {
                     GetMailTime(store, folder, arguments.mail, RequireOut(date));
                   });
}

Extraction MakeExtraction(SessionContext& context, MailStore& store) {
  return {store, GetTemporaryNames(context)};
}

// The paths of a cabinet are asked for like those of a folder, and nothing is answered.
bool IsOpenCabinet(HandleNode* session, HandleNode* node) {
  const Folder* folder = FindHandle<Folder>(node);
  return FindHandle<Session>(session) != nullptr && folder != nullptr && folder->isCabinet &&
         folder->isOpen;
}

using PathWriter = std::string (*)(Extraction&, std::int32_t, std::int32_t, std::int32_t);

ResultCode GetPath(const char* function, const MailArguments& arguments, std::int32_t index,
                   ResultString* path, PathWriter write) {
  if (IsOpenCabinet(arguments.session, arguments.folder)) return RESULT_OK;
  return RunOnMail(function, arguments,
                   [&](SessionContext& context, MailStore& store, std::int32_t folder) {
                     Extraction extraction = MakeExtraction(context, store);
                     WriteResultString(path, write(extraction, folder, arguments.mail, index),
                                       context.platform.text());
                   });
}

}  // namespace
}  // namespace nimport::plugin

using namespace nimport;
using namespace nimport::plugin;

ResultCode NIMPORT_CALL ML_GetMailSubject(HandleNode* session, HandleNode* folder,
                                          std::int32_t mail, ResultString* text) {
  return GetField("ML_GetMailSubject", {session, folder, mail}, FieldSelector::Subject, 0, text);
}

ResultCode NIMPORT_CALL ML_GetMailFrom(HandleNode* session, HandleNode* folder, std::int32_t mail,
                                       ResultString* text) {
  return GetField("ML_GetMailFrom", {session, folder, mail}, FieldSelector::From, 0, text);
}

ResultCode NIMPORT_CALL ML_GetMailTo(HandleNode* session, HandleNode* folder, std::int32_t mail,
                                     ResultString* text) {
  return GetField("ML_GetMailTo", {session, folder, mail}, FieldSelector::To, 0, text);
}

ResultCode NIMPORT_CALL ML_GetMailMessageID(HandleNode* session, HandleNode* folder,
                                            std::int32_t mail, ResultString* text) {
  return GetField("ML_GetMailMessageID", {session, folder, mail}, FieldSelector::MessageId, 0,
                  text);
}

ResultCode NIMPORT_CALL ML_GetMailContentType(HandleNode* session, HandleNode* folder,
                                              std::int32_t mail, std::int32_t body,
                                              ResultString* text) {
  return GetField("ML_GetMailContentType", {session, folder, mail}, FieldSelector::ContentType,
                  body, text);
}

ResultCode NIMPORT_CALL ML_GetMailDate(HandleNode* session, HandleNode* folder, std::int32_t mail,
                                       std::int32_t* date) {
  return GetTime("ML_GetMailDate", {session, folder, mail}, date);
}

ResultCode NIMPORT_CALL ML_GetMailTimeStamp(HandleNode* session, HandleNode* folder,
                                            std::int32_t mail, std::int32_t* date) {
  return GetTime("ML_GetMailTimeStamp", {session, folder, mail}, date);
}

ResultCode NIMPORT_CALL ML_GetMailSource(HandleNode* session, HandleNode* folder, std::int32_t mail,
                                         ResultString* text) {
  return RunOnMail("ML_GetMailSource", {session, folder, mail},
                   [&](SessionContext& context, MailStore& store, std::int32_t folderIndex) {
                     // A NUL ends a source, unless everything that there is is wanted.
                     const auto end = context.platform.IsSalvaging() ? TextEnd::AtItsLength
                                                                     : TextEnd::AtFirstNul;
                     WriteResultString(text, ComposeMailSource(store, folderIndex, mail),
                                       context.platform.text(), end);
                   });
}

ResultCode NIMPORT_CALL ML_SetTempFileName(HandleNode* session, const NimportChar16* name) {
  return RunExport("ML_SetTempFileName", [&](ExportCall& call) {
    SessionContext& context = call.RequireSession(session);
    if (name == nullptr) FailInvalid("no name for the temporary file");
    // Some systems write a letter and its mark apart, which code page 932 cannot.
    GetTemporaryNames(context).SetPendingName(context.platform.text().FromUtf16(
        text::ComposeForCodePage932(CopyText(name)), text::CODE_PAGE_JAPANESE));
  });
}

ResultCode NIMPORT_CALL ML_GetMailBodyCount(HandleNode* session, HandleNode* folder,
                                            std::int32_t mail, std::int32_t* count) {
  return RunOnMail("ML_GetMailBodyCount", {session, folder, mail},
                   [&](SessionContext& context, MailStore& store, std::int32_t folderIndex) {
                     std::int32_t& out = RequireOut(count);
                     Extraction extraction = MakeExtraction(context, store);
                     out = CountMailBodies(extraction, folderIndex, mail);
                   });
}

ResultCode NIMPORT_CALL ML_GetMailBodyPath(HandleNode* session, HandleNode* folder,
                                           std::int32_t mail, std::int32_t body,
                                           ResultString* path) {
  return GetPath("ML_GetMailBodyPath", {session, folder, mail}, body, path, WriteMailBody);
}

ResultCode NIMPORT_CALL ML_GetAttachedMailCount(HandleNode* session, HandleNode* folder,
                                                std::int32_t mail, std::int32_t* count) {
  return RunOnMail("ML_GetAttachedMailCount", {session, folder, mail},
                   [&](SessionContext& context, MailStore& store, std::int32_t folderIndex) {
                     std::int32_t& out = RequireOut(count);
                     Extraction extraction = MakeExtraction(context, store);
                     const std::optional<std::int32_t> attached =
                         CountAttachedMails(extraction, folderIndex, mail);
                     if (attached) out = *attached;
                   });
}

ResultCode NIMPORT_CALL ML_GetAttachedMailPath(HandleNode* session, HandleNode* folder,
                                               std::int32_t mail, std::int32_t attached,
                                               ResultString* path) {
  return GetPath("ML_GetAttachedMailPath", {session, folder, mail}, attached, path,
                 WriteAttachedMail);
}
