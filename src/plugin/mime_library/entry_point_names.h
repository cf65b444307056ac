// The names that the MIME library is asked for, in the order in which they are bound: the five
// memory and object managers, the version, then the mail text (MT_), dial-up (DT_), POP3 (P3_),
// SMTP (SP_), mailbox (MB_) and user (MU_) functions. Only some of the MT_ functions are ever
// called.
#ifndef NIMPORT_PLUGIN_MIME_LIBRARY_ENTRY_POINT_NAMES_H_
#define NIMPORT_PLUGIN_MIME_LIBRARY_ENTRY_POINT_NAMES_H_

#include <array>

namespace nimport::plugin {

// clang-format off
inline constexpr std::array<const char*, 173> ENTRY_POINT_NAMES{
    "QZB_GarbageCollection", "QZB_GarbageObjectManager", "QZB_TraceObjectManager",
    "QZB_GarbageMemManager", "QZB_TraceMemManager", "QZB_GetWexmailVersion",

    "MT_Free", "MT_Init", "MT_Term", "MT_EntryRoot", "MT_AddMain", "MT_AddAttachOne",
    "MT_AddAttach", "MT_BuildMailText", "MT_ParseMailText", "MT_ParseMailTextHeader",
    "MT_GetBufferE", "MT_GetBufferD", "MT_GetRoot", "MT_GetMainHeadPosition", "MT_GetMainNext",
    "MT_GetAttachCount", "MT_GetAttach", "MT_GetMainFileE", "MT_GetMainFileD", "MT_GetAttachFileE",
    "MT_GetAttachFileD", "MT_GetHeaderE", "MT_GetHeaderD", "MT_GetNameValueE", "MT_GetNameValueD",
    "MT_FindE", "MT_FindD", "MT_FindEArray", "MT_FindDArray", "MT_GetInReplyToE",
    "MT_GetInReplyToD", "MT_GetReferencesE", "MT_GetReferencesD", "MT_GetReE", "MT_GetReD",
    "MT_GetSubjectE", "MT_GetSubjectD", "MT_GetFromE", "MT_GetFromD", "MT_GetToE", "MT_GetToD",
    "MT_GetCcE", "MT_GetCcD", "MT_GetBccE", "MT_GetBccD", "MT_GetSenderE", "MT_GetSenderD",
    "MT_GetReplyToE", "MT_GetReplyToD", "MT_GetMailReplyToE", "MT_GetMailReplyToD",
    "MT_GetMailFollowupToE", "MT_GetMailFollowupToD", "MT_GetContentTypeE", "MT_GetContentTypeD",
    "MT_GetTargetNameE", "MT_GetTargetNameD", "MT_GetFileNameE", "MT_GetFileNameD",
    "MT_GetContentTransferEncodingE", "MT_GetContentTransferEncodingD", "MT_GetContentDescriptionE",
    "MT_GetContentDescriptionD", "MT_GetContentDispositionE", "MT_GetContentDispositionD",
    "MT_GetContentIDE", "MT_GetContentIDD", "MT_GetReturnPathE", "MT_GetReturnPathD",
    "MT_GetReceivedE", "MT_GetReceivedD", "MT_GetCommentE", "MT_GetCommentD", "MT_GetSendDateE",
    "MT_GetSendDateD", "MT_GetSendTimeE_Part2", "MT_GetSendTimeD_Part2", "MT_GetMimeVersionE",
    "MT_GetMimeVersionD", "MT_GetMessageIDE", "MT_GetMessageIDD", "MT_GetXSpecialActionE",
    "MT_GetXSpecialActionD", "MT_GetXMailerE", "MT_GetXMailerD", "MT_GetXPriorityE",
    "MT_GetXPriorityD", "MT_GetXUIDLE", "MT_GetXUIDLD", "MT_GetPartCount", "MT_GetPartD",
    "MT_GetPartE",

    "DT_Free", "DT_Init", "DT_Term", "DT_IsLoading", "DT_Login", "DT_Login2", "DT_Login3",
    "DT_Logout", "DT_GetEntryName", "DT_IsActiveEntryName", "DT_LogoutEntryName", "DT_GetEntryAll",
    "DT_GetDefaultUser", "DT_SetDefaultUser", "DT_DisplayAccessPoint",

    "P3_Free", "P3_Init", "P3_Term", "P3_ExecClearCancel", "P3_EntryCallBack", "P3_ExecOpenServer",
    "P3_ExecRecvMail", "P3_ExecDeleteMail", "P3_ExecCloseServer", "P3_ExecCancel",
    "P3_GetLastError", "P3_GetErrorMessage", "P3_ExecAuth", "P3_ExecAuthDialog", "P3_ExecGetUIDL",
    "P3_ExecGetServerMailInfoSV", "P3_ExecRecvMailSV", "P3_ExecDeleteMailSV",
    "P3_ExecDeleteMailOfRecieve",

    "SP_Free", "SP_Init", "SP_Term", "SP_ExecClearCancel", "SP_EntryCallBack", "SP_ExecOpenServer",
    "SP_ExecSendMail", "SP_ExecCloseServer", "SP_ExecCancel", "SP_GetLastError",
    "SP_GetErrorMessage", "SP_SendMail",

    "MB_Free", "MB_Init", "MB_Term", "MB_InitMailBox", "MB_TermMailBox", "MB_ReadMailBox",
    "MB_WriteMailBox", "MB_GetIndexFileName", "MB_GetDataFileName", "MB_GetCount", "MB_Add",
    "MB_RemoveAt", "MB_GetAtIndex", "MB_GetAtData", "MB_GetHeadPosition", "MB_GetNextIndex",
    "MB_GetNextData",

    "MU_Free", "MU_Init", "MU_Term", "MU_Open", "MU_Read", "MU_Write", "MU_Lookup", "MU_Add",
    "MU_RemoveAt", "MU_GetAt", "MU_MapGetStartPosition", "MU_MapGetNextAssoc",
};
// clang-format on

}  // namespace nimport::plugin

#endif  // NIMPORT_PLUGIN_MIME_LIBRARY_ENTRY_POINT_NAMES_H_
