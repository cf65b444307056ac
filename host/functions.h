// The plug-in's functions as a table of addresses, filled when the library is loaded.
#ifndef NIMPORT_HOST_FUNCTIONS_H_
#define NIMPORT_HOST_FUNCTIONS_H_

#include "nimport/nimport.h"

// Every function of the public header, once.
// clang-format off: it cannot settle on a form for this list.
#define NIMPORT_FOR_EACH_FUNCTION(X) \
  X(QV_GetVersion)                   \
  X(ML_IsExistMailer)                \
  X(AD_IsExistMailer)                \
  X(ML_Initialize)                   \
  X(AD_Initialize)                   \
  X(ML_Terminate)                    \
  X(AD_Terminate)                    \
  X(ML_GetMailerName)                \
  X(AD_GetMailerName)                \
  X(ML_GetUserCount)                 \
  X(ML_GetUser)                      \
  X(ML_GetAccountCount)              \
  X(ML_GetAccount)                   \
  X(ML_GetName)                      \
  X(AD_GetUserCount)                 \
  X(AD_GetUser)                      \
  X(AD_GetAccountCount)              \
  X(AD_GetAccount)                   \
  X(ML_GetChildFolderCount)          \
  X(ML_GetChildFolder)               \
  X(ML_OpenMailDataFile)             \
  X(ML_CloseMailDataFile)            \
  X(ML_GetMailCount)                 \
  X(ML_GetMailSubject)               \
  X(ML_GetMailFrom)                  \
  X(ML_GetMailTo)                    \
  X(ML_GetMailMessageID)             \
  X(ML_GetMailContentType)           \
  X(ML_GetMailDate)                  \
  X(ML_GetMailTimeStamp)             \
  X(ML_GetMailSource)                \
  X(ML_SetTempFileName)              \
  X(ML_GetMailBodyCount)             \
  X(ML_GetMailBodyPath)              \
  X(ML_GetAttachedMailCount)         \
  X(ML_GetAttachedMailPath)          \
  X(AD_OpenAddressBook)              \
  X(AD_CloseAddressBook)             \
  X(AD_GetChildGroupCount)           \
  X(AD_GetChildGroup)                \
  X(AD_GetAddressCount)              \
  X(AD_GetAddress)                   \
  X(AD_GetName)                      \
  X(AD_GetId)                        \
  X(AD_GetFieldCount)                \
  X(AD_GetFieldName)                 \
  X(AD_GetFieldLabel)                \
  X(AD_GetFieldIndex)                \
  X(AD_GetValue)                     \
  X(ML_GetMailerOption)              \
  X(ML_IsExistPassword)              \
  X(AD_GetMailerOption)              \
  X(AD_GetSubValueCount)             \
  X(ML_CheckAccessPrivilege)         \
  X(AD_CheckAccessPrivilege)         \
  X(ML_SetOption)                    \
  X(ML_OptionDialog)                 \
  X(ML_OptionDialogEx)               \
  X(AD_OptionDialog)                 \
  X(AD_GetSubValue)
// clang-format on

namespace nimport::host {

// One function of the plug-in: its name, for messages, and its address.
template <typename Signature>
struct Function {
  const char* name;
  Signature* address = nullptr;
};

struct Functions {
#define NIMPORT_DECLARE_FUNCTION(name) Function<decltype(::name)> name{#name};
  NIMPORT_FOR_EACH_FUNCTION(NIMPORT_DECLARE_FUNCTION)
#undef NIMPORT_DECLARE_FUNCTION
};

}  // namespace nimport::host

#endif  // NIMPORT_HOST_FUNCTIONS_H_
