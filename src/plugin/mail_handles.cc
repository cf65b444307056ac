#include "plugin/mail_handles.h"

#include "common/failure.h"

namespace nimport::plugin {

MailStore& RequireMailStore(SessionContext& context) {
  if (context.mailStore == nullptr) FailInvalid("the session is one of an address book");
  return *context.mailStore;
}

Folder& RequireFolder(HandleNode* node) {
  return RequireHandle<Folder>(node, "not a cabinet or folder handle");
}

const Folder& RequireOpenFolder(HandleNode* node) {
  const Folder& folder = RequireFolder(node);
  if (!folder.isOpen) FailDatabase("the folder is not open (ML_OpenMailDataFile)");
  return folder;
}

const Folder& RequireOpenMailFolder(HandleNode* node) {
  const Folder& folder = RequireOpenFolder(node);
  if (folder.isCabinet) FailDatabase("a cabinet holds no mails");
  return folder;
}

}  // namespace nimport::plugin
