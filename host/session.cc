#include "host/session.h"

#include <utility>

#include "host/result_error.h"

namespace nimport::host {

namespace {

HandleNode* Open(const Library& library, Session::Kind kind) {
  const Functions& functions = library.functions();
  return kind == Session::Kind::Mail ? library.Handle(functions.ML_Initialize)
                                     : library.Handle(functions.AD_Initialize);
}

}  // namespace

bool IsMailerInstalled(const Library& library) {
  std::int32_t exists = 0;
  library.Call(library.functions().ML_IsExistMailer, &exists);
  return exists == 1;
}

Session::Session(const Library& library, Kind kind)
    : library_(&library), handle_(Open(library, kind), Terminate{&library}) {}

std::string Session::MailerName() const {
  return library_->Text(library_->functions().ML_GetMailerName, handle());
}

void Session::Terminate::operator()(HandleNode* handle) const {
  // Either function closes either kind of session; a failure leaves nothing to be done.
  library->Run(library->functions().ML_Terminate, handle);
}

MailSession::MailSession(const Library& library) : session_(library, Session::Kind::Mail) {
  const Functions& functions = library.functions();
  LoadFolderList();
  HandleNode* const root = session_.handle();
  HandleNode* const user = library.Handle(functions.ML_GetUser, root, 0);
  HandleNode* const account = library.Handle(functions.ML_GetAccount, root, user, 0);
  accountName_ = library.Text(functions.ML_GetName, root, account);
  cabinets_ = ListCabinets(account);
}

void MailSession::LoadFolderList() {
  const Library& library = session_.library();
  const auto& getUserCount = library.functions().ML_GetUserCount;
  try {
    static_cast<void>(library.Number(getUserCount, session_.handle()));
  } catch (const ResultError& error) {
    failedListing_ = error.reason();
    // What was read before the failure is kept: a second call answers over it.
    static_cast<void>(library.Number(getUserCount, session_.handle()));
  }
}

std::vector<Cabinet> MailSession::ListCabinets(HandleNode* account) const {
  const Library& library = session_.library();
  const Functions& functions = library.functions();
  HandleNode* const root = session_.handle();
  std::vector<Cabinet> cabinets;
  const std::int32_t cabinetCount = library.Number(functions.ML_GetChildFolderCount, root, account);
  for (std::int32_t c = 0; c < cabinetCount; ++c) {
    HandleNode* const cabinet = library.Handle(functions.ML_GetChildFolder, root, account, c);
    Cabinet& listed =
        cabinets.emplace_back(Cabinet{library.Text(functions.ML_GetName, root, cabinet), {}});
    const std::int32_t count = library.Number(functions.ML_GetChildFolderCount, root, cabinet);
    for (std::int32_t f = 0; f < count; ++f) {
      HandleNode* const folder = library.Handle(functions.ML_GetChildFolder, root, cabinet, f);
      listed.folders.emplace_back(library, root, folder,
                                  library.Text(functions.ML_GetName, root, folder));
    }
  }
  return cabinets;
}

}  // namespace nimport::host
