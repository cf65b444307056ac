// Users and accounts.
#include <memory>

#include "nimport/nimport.h"
#include "plugin/exports/export_guard.h"
#include "plugin/handle_node.h"
#include "plugin/session_context.h"

namespace nimport::plugin {
namespace {

// What the address side answers for the levels that it does not have.
constexpr std::int32_t NO_SUCH_LEVEL = -1;
constexpr std::int32_t COUNT_NOT_KNOWN = -1;

// Indices up to and including these are taken for the one user and the one account.
constexpr std::int32_t LAST_USER_INDEX = 1;
constexpr std::int32_t LAST_ACCOUNT_INDEX = 0;

void RequireNoUser(const HandleNode* user) {
  if (user != nullptr) FailInvalid("an address book has no users");
}

}  // namespace
}  // namespace nimport::plugin

using namespace nimport;
using namespace nimport::plugin;

ResultCode NIMPORT_CALL ML_GetUserCount(HandleNode* session, std::int32_t* count) {
  return RunExport("ML_GetUserCount", [&](ExportCall& call) {
    SessionContext& context = call.RequireSession(session);
    std::int32_t& out = RequireOut(count);
    // An address-book session has no mail store, and so no folders to load.
    if (context.mailStore != nullptr) context.mailStore->LoadFolderList();
    out = 1;
  });
}

ResultCode NIMPORT_CALL ML_GetUser(HandleNode* session, std::int32_t index, HandleNode** user) {
  return RunExport("ML_GetUser", [&](ExportCall&) {
    HandleNode& parent = RequireHandle(session);
    HandleNode*& out = RequireOut(user);
    if (index > LAST_USER_INDEX) FailInvalid("there is one user");
    out = AppendChild(parent, std::make_unique<HandleNode>(User{}));
  });
}

ResultCode NIMPORT_CALL ML_GetAccountCount(HandleNode* session, HandleNode*, std::int32_t* count) {
  return RunExport("ML_GetAccountCount", [&](ExportCall& call) {
    static_cast<void>(call.RequireSession(session));
    RequireOut(count) = COUNT_NOT_KNOWN;
  });
}

ResultCode NIMPORT_CALL ML_GetAccount(HandleNode* session, HandleNode* user, std::int32_t index,
                                      HandleNode** account) {
  return RunExport("ML_GetAccount", [&](ExportCall&) {
    HandleNode& parent = user != nullptr ? *user : RequireHandle(session);
    static_cast<void>(RequireHandle(session));
    HandleNode*& out = RequireOut(account);
    if (index > LAST_ACCOUNT_INDEX) FailInvalid("there is one account");
    out = AppendChild(parent, std::make_unique<HandleNode>(Account{}));
  });
}

ResultCode NIMPORT_CALL AD_GetUserCount(HandleNode* session, std::int32_t* count) {
  return RunExport("AD_GetUserCount", [&](ExportCall& call) {
    static_cast<void>(call.RequireSession(session));
    RequireOut(count) = NO_SUCH_LEVEL;
  });
}

ResultCode NIMPORT_CALL AD_GetUser(HandleNode* session, std::int32_t, HandleNode** user) {
  return RunExport("AD_GetUser", [&](ExportCall& call) {
    static_cast<void>(call.RequireSession(session));
    RequireOut(user) = nullptr;
  });
}

ResultCode NIMPORT_CALL AD_GetAccountCount(HandleNode* session, HandleNode* user,
                                           std::int32_t* count) {
  return RunExport("AD_GetAccountCount", [&](ExportCall& call) {
    RequireNoUser(user);
    static_cast<void>(call.RequireSession(session));
    RequireOut(count) = NO_SUCH_LEVEL;
  });
}

ResultCode NIMPORT_CALL AD_GetAccount(HandleNode* session, HandleNode* user, std::int32_t,
                                      HandleNode** account) {
  return RunExport("AD_GetAccount", [&](ExportCall& call) {
    RequireNoUser(user);
    static_cast<void>(call.RequireSession(session));
    RequireOut(account) = nullptr;
  });
}
