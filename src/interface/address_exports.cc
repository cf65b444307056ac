// The address book. Address books are not read yet: every function answers -3.
#include "common/failure.h"
#include "interface/export_guard.h"
#include "nimport/nimport.h"

namespace {

ResultCode AnswerNotSupported(const char* function) {
  return nimport::RunExport(function, [](nimport::ExportCall&) {
    nimport::FailInvalid("address books are not supported yet");
  });
}

}  // namespace

ResultCode NIMPORT_CALL AD_OpenAddressBook(HandleNode*, HandleNode*, HandleNode*, HandleNode**) {
  return AnswerNotSupported("AD_OpenAddressBook");
}

ResultCode NIMPORT_CALL AD_CloseAddressBook(HandleNode*, HandleNode*, HandleNode*, HandleNode*) {
  return AnswerNotSupported("AD_CloseAddressBook");
}

ResultCode NIMPORT_CALL AD_GetChildGroupCount(HandleNode*, HandleNode*, std::int32_t*) {
  return AnswerNotSupported("AD_GetChildGroupCount");
}

ResultCode NIMPORT_CALL AD_GetChildGroup(HandleNode*, HandleNode*, std::int32_t, HandleNode**) {
  return AnswerNotSupported("AD_GetChildGroup");
}

ResultCode NIMPORT_CALL AD_GetAddressCount(HandleNode*, HandleNode*, std::int32_t*) {
  return AnswerNotSupported("AD_GetAddressCount");
}

ResultCode NIMPORT_CALL AD_GetAddress(HandleNode*, HandleNode*, std::int32_t, HandleNode**) {
  return AnswerNotSupported("AD_GetAddress");
}

ResultCode NIMPORT_CALL AD_GetName(HandleNode*, HandleNode*, ResultString*) {
  return AnswerNotSupported("AD_GetName");
}

ResultCode NIMPORT_CALL AD_GetId(HandleNode*, HandleNode*, std::int32_t*) {
  return AnswerNotSupported("AD_GetId");
}

ResultCode NIMPORT_CALL AD_GetFieldCount(HandleNode*, HandleNode*, std::int32_t*) {
  return AnswerNotSupported("AD_GetFieldCount");
}

ResultCode NIMPORT_CALL AD_GetFieldName(HandleNode*, HandleNode*, std::int32_t, ResultString*) {
  return AnswerNotSupported("AD_GetFieldName");
}

ResultCode NIMPORT_CALL AD_GetFieldLabel(HandleNode*, HandleNode*, std::int32_t, ResultString*) {
  return AnswerNotSupported("AD_GetFieldLabel");
}

ResultCode NIMPORT_CALL AD_GetFieldIndex(HandleNode*, HandleNode*, const NimportChar16*,
                                         std::int32_t*) {
  return AnswerNotSupported("AD_GetFieldIndex");
}

ResultCode NIMPORT_CALL AD_GetValue(HandleNode*, HandleNode*, std::int32_t, ResultString*) {
  return AnswerNotSupported("AD_GetValue");
}
