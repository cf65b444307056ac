#include "host/folder.h"

#include <utility>

namespace nimport::host {

Folder::Folder(const Library& library, HandleNode* session, HandleNode* handle, std::string name)
    : library_(&library), session_(session), handle_(handle), name_(std::move(name)) {}

OpenFolder::OpenFolder(const Folder& folder) : folder_(folder) {
  const Library& library = *folder_.library_;
  const Functions& functions = library.functions();
  library.Call(functions.ML_OpenMailDataFile, folder_.session_, folder_.handle_);
  try {
    mailCount_ = library.Number(functions.ML_GetMailCount, folder_.session_, folder_.handle_);
  } catch (...) {
    Close();
    throw;
  }
}

OpenFolder::~OpenFolder() {
  Close();
}

void OpenFolder::Close() const {
  // A folder that cannot be closed leaves nothing to be done.
  const Library& library = *folder_.library_;
  library.Run(library.functions().ML_CloseMailDataFile, folder_.session_, folder_.handle_);
}

Mail OpenFolder::MailAt(std::int32_t position) const {
  return {*folder_.library_, folder_.session_, folder_.handle_, position};
}

}  // namespace nimport::host
