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

std::string NameOf(SessionContext& context, const Handle& handle) {
  if (std::holds_alternative<User>(handle)) return USER_NAME;
  if (std::holds_alternative<Account>(handle)) return context.accountId.str();
  const auto* folder = std::get_if<Folder>(&handle);
  if (folder == nullptr) FailInvalid("a handle of this kind has no name");
  const store::FolderList& folders = RequireMailStore(context).RequireFolderList();
  return store::EscapeFolderName(folders.At(folder->position).name);
}

// The position in the list of folders of what cabinets or folders are asked for beneath; -1 is the
// top. Handles of an address book have positions as well, and are taken at their word.
std::int32_t RequireParent(HandleNode* node) {
  const Handle& handle = RequireHandle(node).handle;
  if (std::holds_alternative<Session>(handle)) FailInvalid("a session has no folders beneath it");
  if (const auto* folder = std::get_if<Folder>(&handle)) return folder->position;
  if (const auto* group = std::get_if<Group>(&handle)) return group->position;
  if (const auto* address = std::get_if<Address>(&handle)) return address->position;
  return -1;
}

void OpenMailDataFile(SessionContext& context, Folder& folder) {
  if (folder.isOpen) return;
  if (!folder.isCabinet) RequireMailStore(context).OpenMailList(folder.position);
  folder.isOpen = true;
}

void CloseMailDataFile(SessionContext& context, Folder& folder) {
  if (!folder.isOpen) return;
  RequireMailStore(context).CloseMailList(folder.position);
  folder.isOpen = false;
}

}  // namespace
}  // namespace nimport::plugin

using namespace nimport;
using namespace nimport::plugin;

ResultCode NIMPORT_CALL ML_GetName(HandleNode* session, HandleNode* node, ResultString* text) {
  return RunExport("ML_GetName", [&](ExportCall& call) {
    SessionContext& context = call.RequireSession(session);
    WriteResultString(text, NameOf(context, RequireHandle(node).handle), context.platform.text());
  });
}

ResultCode NIMPORT_CALL ML_GetChildFolderCount(HandleNode* session, HandleNode* parent,
                                               std::int32_t* count) {
  return RunExport("ML_GetChildFolderCount", [&](ExportCall& call) {
    SessionContext& context = call.RequireSession(session);
    const std::int32_t position = RequireParent(parent);
    RequireOut(count) = RequireMailStore(context).RequireFolderList().ChildCount(position);
  });
}

ResultCode NIMPORT_CALL ML_GetChildFolder(HandleNode* session, HandleNode* parent,
                                          std::int32_t index, HandleNode** folder) {
  return RunExport("ML_GetChildFolder", [&](ExportCall& call) {
    SessionContext& context = call.RequireSession(session);
    const std::int32_t position = RequireParent(parent);
    HandleNode*& out = RequireOut(folder);
    const store::FolderList& folders = RequireMailStore(context).RequireFolderList();
    const std::optional<std::int32_t> child = folders.FindChild(position, index);
    if (!child) FailInvalid("no child at position " + std::to_string(index));
    const bool isCabinet = folders.At(*child).isCabinet;
    out = AppendChild(
        *parent, std::make_unique<HandleNode>(Folder{.position = *child, .isCabinet = isCabinet}));
  });
}

ResultCode NIMPORT_CALL ML_OpenMailDataFile(HandleNode* session, HandleNode* folder) {
  return RunExport("ML_OpenMailDataFile", [&](ExportCall& call) {
    SessionContext& context = call.RequireSession(session);
    OpenMailDataFile(context, RequireFolder(folder));
  });
}

ResultCode NIMPORT_CALL ML_CloseMailDataFile(HandleNode* session, HandleNode* folder) {
  return RunExport("ML_CloseMailDataFile", [&](ExportCall& call) {
    SessionContext& context = call.RequireSession(session);
    CloseMailDataFile(context, RequireFolder(folder));
  });
}

ResultCode NIMPORT_CALL ML_GetMailCount(HandleNode* session, HandleNode* folder,
                                        std::int32_t* count) {
  if (count != nullptr) *count = 0;
  return RunExport("ML_GetMailCount", [&](ExportCall& call) {
    SessionContext& context = call.RequireSession(session);
    std::int32_t& out = RequireOut(count);
    const Folder& opened = RequireOpenFolder(folder);
    if (opened.isCabinet) return;
    MailStore& store = RequireMailStore(context);
    static_cast<void>(store.RequireFolderList());
    out = store.MailCount(opened.position);
  });
}
