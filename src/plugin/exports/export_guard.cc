#include "plugin/exports/export_guard.h"

#include <utility>

#include "platform/platform.h"
#include "plugin/session_context.h"
#include "plugin/session_database.h"

namespace nimport::plugin {

SessionContext& ExportCall::RequireSession(HandleNode* session) {
  const Session* handle = FindHandle<Session>(session);
  if (handle == nullptr) FailInvalid("not a session handle");
  context_ = handle->context.get();
  return *context_;
}

void ExportCall::SetMail(std::int32_t folderIndex, std::int32_t mailIndex) {
  folderIndex_ = folderIndex;
  mailIndex_ = mailIndex;
}

ResultCode ExportCall::Failed(ResultCode code, const char* reason) noexcept {
  try {
    platform::FailureRecord record;
    record.reason = reason;
    record.code = code;
    Report(std::move(record));
  } catch (...) {
    // The code is the answer; a record that cannot be made is no reason to change it.
  }
  return code;
}

ResultCode ExportCall::Failed(const jet::DatabaseError& error) noexcept {
  try {
    platform::FailureRecord record = ToFailureRecord(error);
    record.code = RESULT_DATABASE;
    Report(std::move(record));
  } catch (...) {
  }
  return RESULT_DATABASE;
}

void ExportCall::Report(platform::FailureRecord record) {
  platform::Platform& platform =
      context_ != nullptr ? context_->platform : platform::PlatformForNewSessions();
  if (!platform.diagnostics().IsOn()) return;
  record.function = function_;
  record.folder = folderIndex_;
  record.mail = mailIndex_;
  if (context_ != nullptr && context_->mailStore != nullptr && folderIndex_ && mailIndex_) {
    const auto* entry = context_->mailStore->FindMail(*folderIndex_, *mailIndex_);
    if (entry != nullptr) record.dataNo = entry->dataNo;
  }
  platform.diagnostics().Report(record);
}

HandleNode& RequireHandle(HandleNode* node) {
  if (node == nullptr) FailInvalid("a handle is null");
  return *node;
}

}  // namespace nimport::plugin
