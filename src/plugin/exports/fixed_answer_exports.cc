// Exports whose answer is fixed. None of them looks at a handle.
#include "nimport/nimport.h"
#include "plugin/exports/export_guard.h"

namespace nimport::plugin {
namespace {

ResultCode Answer(std::int32_t* out, std::int32_t value, ResultCode code) {
  if (out == nullptr) return RESULT_INVALID;
  *out = value;
  return code;
}

}  // namespace
}  // namespace nimport::plugin

using namespace nimport::plugin;

ResultCode NIMPORT_CALL ML_GetMailerOption(const void*, const void*, std::int32_t* value) {
  return Answer(value, 0, RESULT_OK);
}

ResultCode NIMPORT_CALL ML_IsExistPassword(const void*, const void*, std::int32_t* exists) {
  return Answer(exists, 0, RESULT_OK);
}

ResultCode NIMPORT_CALL AD_GetMailerOption(const void*, const void*, std::int32_t* value) {
  return Answer(value, 0, RESULT_OK);
}

ResultCode NIMPORT_CALL AD_GetSubValueCount(const void*, const void*, std::int32_t,
                                            std::int32_t* count) {
  return Answer(count, 0, RESULT_OK);
}

ResultCode NIMPORT_CALL ML_CheckAccessPrivilege(const void*, const void*, const void*,
                                                std::int32_t* allowed) {
  return Answer(allowed, 1, RESULT_OK);
}

ResultCode NIMPORT_CALL AD_CheckAccessPrivilege(const void*, const void*, const void*,
                                                std::int32_t* allowed) {
  return Answer(allowed, 1, RESULT_INVALID);
}

ResultCode NIMPORT_CALL ML_SetOption(void) {
  return RESULT_INVALID;
}
ResultCode NIMPORT_CALL ML_OptionDialog(void) {
  return RESULT_INVALID;
}
ResultCode NIMPORT_CALL ML_OptionDialogEx(void) {
  return RESULT_INVALID;
}
ResultCode NIMPORT_CALL AD_OptionDialog(void) {
  return RESULT_INVALID;
}
ResultCode NIMPORT_CALL AD_GetSubValue(void) {
  return RESULT_INVALID;
}
