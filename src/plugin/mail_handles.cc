#include "plugin/mail_handles.h"

#include "common/failure.h"

namespace nimport::plugin {

mailstore::MailStore& RequireMailStore(SessionContext& context) {
  if (context.mailStore == nullptr) FailInvalid("the session is one of an address book");
  return *context.mailStore;
}

HandleNode& RequireFolderHandle(HandleNode* node) {
  HandleNode& folder = RequireHandle(node);
  if (folder.kind != NodeKind::Cabinet && folder.kind != NodeKind::Folder) {
    FailInvalid("not a cabinet or folder handle");
  }
  return folder;
}

HandleNode& RequireOpenFolderHandle(HandleNode* node) {
  HandleNode& folder = RequireFolderHandle(node);
  if (folder.openCount == 0) FailDatabase("the folder is not open (ML_OpenMailDataFile)");
  return folder;
}

HandleNode& RequireOpenMailFolder(HandleNode* node) {
  HandleNode& folder = RequireOpenFolderHandle(node);
  if (folder.kind == NodeKind::Cabinet) FailDatabase("a cabinet holds no mails");
  return folder;
}

}  // namespace nimport::plugin
