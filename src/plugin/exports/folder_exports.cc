// Names, cabinets and folders, mail lists.
#include <memory>
#include <optional>
#include <string>

#include "nimport/nimport.h"
#include "plugin/exports/result_string.h"
#include "plugin/mail_handles.h"
#include "store/folder_name.h"

namespace nimport::plugin {
namespace {

constexpr char USER_NAME[] = "DEFAULT_USER";

std::string NameOf(SessionContext& context, const HandleNode& node) {
  switch (node.kind) {
    case NodeKind::User:
      return USER_NAME;
    case NodeKind::Account:
      return context.accountId.str();
    case NodeKind::Cabinet:
    case NodeKind::Folder: {
      const mailstore::FolderList& folders = RequireMailStore(context).RequireFolderList();
      return mailstore::EscapeFolderName(folders.At(node.id).name);
    }
    default:
      FailInvalid("a handle of this kind has no name");
  }
}

// A handle that may have cabinets or folders beneath it.
HandleNode& RequireParent(HandleNode* node) {
  HandleNode& parent = RequireHandle(node);
  if (parent.kind == NodeKind::Session) FailInvalid("a session has no folders beneath it");
  return parent;
}

void OpenMailDataFile(SessionContext& context, HandleNode& folder) {
  if (folder.openCount != 0) return;
  if (folder.kind == NodeKind::Folder) RequireMailStore(context).OpenMailList(folder.id);
  folder.openCount = 1;
}

void CloseMailDataFile(SessionContext& context, HandleNode& folder) {
  if (folder.openCount == 0) return;
  RequireMailStore(context).CloseMailList(folder.id);
  folder.openCount = 0;
}

}  // namespace
}  // namespace nimport::plugin

using namespace nimport;
using namespace nimport::plugin;

ResultCode NIMPORT_CALL ML_GetName(HandleNode* session, HandleNode* node, ResultString* text) {
  return RunExport("ML_GetName", [&](ExportCall& call) {
    SessionContext& context = call.RequireSession(session);
    WriteResultString(text, NameOf(context, RequireHandle(node)), context.platform.text());
  });
}

ResultCode NIMPORT_CALL ML_GetChildFolderCount(HandleNode* session, HandleNode* parent,
                                               std::int32_t* count) {
  return RunExport("ML_GetChildFolderCount", [&](ExportCall& call) {
    SessionContext& context = call.RequireSession(session);
    const HandleNode& node = RequireParent(parent);
    RequireOut(count) = RequireMailStore(context).RequireFolderList().ChildCount(node.id);
  });
}

ResultCode NIMPORT_CALL ML_GetChildFolder(HandleNode* session, HandleNode* parent,
                                          std::int32_t index, HandleNode** folder) {
  return RunExport("ML_GetChildFolder", [&](ExportCall& call) {
    SessionContext& context = call.RequireSession(session);
    HandleNode& node = RequireParent(parent);
    HandleNode*& out = RequireOut(folder);
    const mailstore::FolderList& folders = RequireMailStore(context).RequireFolderList();
    const std::optional<std::int32_t> child = folders.FindChild(node.id, index);
    if (!child) FailInvalid("no child at position " + std::to_string(index));
    const mailstore::FolderRecord record = folders.At(*child);
    out = AppendChild(
        node, std::make_unique<HandleNode>(record.isCabinet ? NodeKind::Cabinet : NodeKind::Folder,
                                           *child, record.HasMails() ? 1 : 0));
  });
}

ResultCode NIMPORT_CALL ML_OpenMailDataFile(HandleNode* session, HandleNode* folder) {
  return RunExport("ML_OpenMailDataFile", [&](ExportCall& call) {
    SessionContext& context = call.RequireSession(session);
    OpenMailDataFile(context, RequireFolderHandle(folder));
  });
}

ResultCode NIMPORT_CALL ML_CloseMailDataFile(HandleNode* session, HandleNode* folder) {
  return RunExport("ML_CloseMailDataFile", [&](ExportCall& call) {
    SessionContext& context = call.RequireSession(session);
    CloseMailDataFile(context, RequireFolderHandle(folder));
  });
}

ResultCode NIMPORT_CALL ML_GetMailCount(HandleNode* session, HandleNode* folder,
                                        std::int32_t* count) {
  if (count != nullptr) *count = 0;
  return RunExport("ML_GetMailCount", [&](ExportCall& call) {
    SessionContext& context = call.RequireSession(session);
    std::int32_t& out = RequireOut(count);
    const HandleNode& node = RequireOpenFolderHandle(folder);
    if (node.kind == NodeKind::Cabinet) return;
    mailstore::MailStore& store = RequireMailStore(context);
    static_cast<void>(store.RequireFolderList());
    out = store.MailCount(node.id);
  });
}
