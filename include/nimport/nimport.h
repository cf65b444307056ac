/*
 * nimport: reads the mail and the address book that the mail client NIFTY Manager left on a disk.
 *
 * This header is the whole public interface: 60 plain C functions, usable from C99 and C++.
 *
 * Results. Every function but QV_GetVersion returns a ResultCode: 0 for success, a negative value
 * for a failure. An out-parameter is written only on success unless its function says otherwise.
 * A null out-pointer is answered with RESULT_INVALID.
 *
 * Handles. A HandleNode* is opaque: the host stores it and passes it back. Everything hangs beneath
 * the session that ML_Initialize or AD_Initialize opened, and stays valid until that session is
 * closed; handles beneath an address book end with AD_CloseAddressBook. Asking twice for the same
 * item gives two handles. A handle may be used only with the session that it came from.
 *
 * Texts. A text result goes into a ResultString that the host owns: the host sets `encoding`, the
 * function sets the other fields, and the host frees the buffer with `release(buffer)`.
 *
 * Files. Mail bodies and attached files are handed out as temporary files, by path. They are
 * deleted when the session is closed, whatever their name.
 *
 * Threads. Calls that concern one session must not overlap. Different sessions are independent and
 * may be used in different threads.
 *
 * The mail client's files are only ever read.
 */
#ifndef NIMPORT_NIMPORT_H_
#define NIMPORT_NIMPORT_H_

#include <stdint.h>
#if defined(_WIN32)
#include <wchar.h>
#endif

#if defined(_WIN32)
#define NIMPORT_CALL __cdecl
/* The library's .def file names what it exports. */
#define NIMPORT_EXPORT
#else
#define NIMPORT_CALL
#define NIMPORT_EXPORT __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* UTF-16 code unit in host byte order. */
#if defined(_WIN32)
typedef wchar_t NimportChar16;
#elif defined(__cplusplus)
typedef char16_t NimportChar16;
#else
typedef uint_least16_t NimportChar16;
#endif

/* What a function answers. */
typedef int32_t ResultCode;
enum {
  /* The call did what was asked. */
  RESULT_OK = 0,
  /* An allocation failed. */
  RESULT_NO_MEMORY = -1,
  /* A database or a temporary file could not be read or written, or the folder is not open. */
  RESULT_DATABASE = -2,
  /* An argument is null or out of range, a handle has the wrong kind, the item does not exist, the
     operation is not supported, or the system refused a call. */
  RESULT_INVALID = -3
};

/* An opaque handle: a session or something found within it. */
typedef struct HandleNode HandleNode;

/* Values for ResultString.encoding. */
enum {
  /* Bytes in code page 932 (Shift-JIS with Microsoft's mapping). */
  ENCODING_CODE_PAGE_932 = 1,
  /* UTF-16 code units, little-endian. */
  ENCODING_UTF16 = 2
};

/* A text result. Four machine words, owned by the host. */
typedef struct ResultString {
  /* Written by the function: frees `buffer`; a null buffer is ignored. */
  void(NIMPORT_CALL* release)(void* buffer);
  /* Set by the host before the call: one of the ENCODING_ values. */
  intptr_t encoding;
  /* Written by the function: length of the text without its terminator, in bytes (code page 932) or
     code units (UTF-16). */
  intptr_t length;
  /* Written by the function: the text and its terminator, or null after a failure. */
  void* buffer;
} ResultString;

/* --- Version and discovery ------------------------------------------------------------------- */

/* The version of the interface: 4. Not a ResultCode. */
NIMPORT_EXPORT int32_t NIMPORT_CALL QV_GetVersion(void);

/* Writes 1 to *exists when the mail client is installed in version 5.0 or later, and leaves
 *exists as it was otherwise. Returns 0 either way. Needs no session. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_IsExistMailer(int32_t* exists);

/* The same as ML_IsExistMailer, on the second argument; the first is not read. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL AD_IsExistMailer(const void* unused, int32_t* exists);

/* --- Sessions --------------------------------------------------------------------------------- */

/* Opens a session on the mail database "Cabdata.mdb" and stores its handle in *session, null on
   failure. -3: the mail client's settings or its database are not there or cannot be opened, or
   the MIME library cannot be loaded. -1: no memory. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_Initialize(HandleNode** session);

/* Opens a session on the address book database "Abook.mdb"; otherwise as ML_Initialize. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL AD_Initialize(HandleNode** session);

/* Closes a session of either kind: deletes the temporary files that it handed out and frees all its
   handles. -3: not a session handle. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_Terminate(HandleNode* session);

/* The same as ML_Terminate. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL AD_Terminate(HandleNode* session);

/* The mail client's name, "Nifty Manager". */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_GetMailerName(HandleNode* session, ResultString* text);
NIMPORT_EXPORT ResultCode NIMPORT_CALL AD_GetMailerName(HandleNode* session, ResultString* text);

/* --- Users and accounts ----------------------------------------------------------------------- */

/* Loads the cabinets and folders at its first call in a session and writes the number of users, 1.
   Every folder function answers -3 until this has been called. -2: the database cannot be read. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_GetUserCount(HandleNode* session, int32_t* count);

/* Stores a new handle for the user. -3: `index` is greater than 1. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_GetUser(HandleNode* session, int32_t index,
                                                  HandleNode** user);

/* Writes -1: the number of accounts is not known; account 0 exists. `user` is not read. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_GetAccountCount(HandleNode* session, HandleNode* user,
                                                          int32_t* count);

/* Stores a new handle for the account, beneath `user` when that is not null. -3: `index` is greater
   than 0. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_GetAccount(HandleNode* session, HandleNode* user,
                                                     int32_t index, HandleNode** account);

/* The name of a user ("DEFAULT_USER"), an account (the member ID), a cabinet or a folder. In the
   names of cabinets and folders '\', '/' and '#' are written "%5c", "%2f" and "%23". */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_GetName(HandleNode* session, HandleNode* node,
                                                  ResultString* text);

/* Writes -1: an address book has no user level. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL AD_GetUserCount(HandleNode* session, int32_t* count);

/* Stores null: an address book has no user level. `index` is not read. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL AD_GetUser(HandleNode* session, int32_t index,
                                                  HandleNode** user);

/* Writes -1: an address book has no account level. -3: `user` is not null. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL AD_GetAccountCount(HandleNode* session, HandleNode* user,
                                                          int32_t* count);

/* Stores null: an address book has no account level. -3: `user` is not null. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL AD_GetAccount(HandleNode* session, HandleNode* user,
                                                     int32_t index, HandleNode** account);

/* --- Cabinets, folders and mail lists ----------------------------------------------------------
 */

/* The number of cabinets beneath a user or account, of folders beneath a cabinet, or 0 beneath a
   folder. -3: the folders are not loaded (ML_GetUserCount). */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_GetChildFolderCount(HandleNode* session,
                                                              HandleNode* parent, int32_t* count);

/* Stores a new handle for child number `index`, from 0. -3: there is no such child. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_GetChildFolder(HandleNode* session, HandleNode* parent,
                                                         int32_t index, HandleNode** folder);

/* Loads the mail list of a folder; every mail function needs it. One folder of a session can be
   loaded at a time: -3 while another one is. For a cabinet nothing is loaded. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_OpenMailDataFile(HandleNode* session, HandleNode* folder);

/* Releases what ML_OpenMailDataFile loaded. Closing a handle that is not open does nothing. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_CloseMailDataFile(HandleNode* session,
                                                            HandleNode* folder);

/* The number of mails in an opened folder, 0 for a cabinet. Writes 0 on failure too. -2: the handle
   is not open. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_GetMailCount(HandleNode* session, HandleNode* folder,
                                                       int32_t* count);

/* --- One mail ---------------------------------------------------------------------------------
   `folder` is a folder opened with ML_OpenMailDataFile, `mail` the mail's position in it, from 0.
   -2: the folder is not open, is a cabinet, or has no such mail, or the database cannot be read.
   -3: the mail's row or file is missing or unusable. */

/* Header texts. An empty one reads "DEFAULT"; an empty message ID "DEFAULT" and the mail's date. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_GetMailSubject(HandleNode* session, HandleNode* folder,
                                                         int32_t mail, ResultString* text);
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_GetMailFrom(HandleNode* session, HandleNode* folder,
                                                      int32_t mail, ResultString* text);
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_GetMailTo(HandleNode* session, HandleNode* folder,
                                                    int32_t mail, ResultString* text);
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_GetMailMessageID(HandleNode* session, HandleNode* folder,
                                                           int32_t mail, ResultString* text);

/* The content type of body `body`, as numbered by the last ML_GetMailBodyCount of the folder. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_GetMailContentType(HandleNode* session,
                                                             HandleNode* folder, int32_t mail,
                                                             int32_t body, ResultString* text);

/* The mail's date: seconds since 1970-01-01 00:00:00. *date is -1 after a date text that cannot be
   read (-3). The two functions are the same. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_GetMailDate(HandleNode* session, HandleNode* folder,
                                                      int32_t mail, int32_t* date);
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_GetMailTimeStamp(HandleNode* session, HandleNode* folder,
                                                           int32_t mail, int32_t* date);

/* The mail's whole text: the MIME file, or a header block and the stored text. The header block
   holds the header values that were asked for last in this session: ask for the mail's subject,
   sender, recipient, message ID and date first. A NUL byte ends the text, unless NIMPORT_SALVAGE is
   1: then a MIME file's NULs are part of it, and `length` counts what stands behind them. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_GetMailSource(HandleNode* session, HandleNode* folder,
                                                        int32_t mail, ResultString* text);

/* Names the temporary file that the next path function writes; UTF-16, terminated. The extension is
   replaced by the one that the contents ask for. The name is used once. -3: the name is empty or
   longer than 519 bytes in code page 932. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_SetTempFileName(HandleNode* session,
                                                          const NimportChar16* name);

/* The number of bodies: main text parts, then related parts such as pictures. Bodies of a MIME mail
   are numbered by the last count, so count before asking for them. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_GetMailBodyCount(HandleNode* session, HandleNode* folder,
                                                           int32_t mail, int32_t* count);

/* Writes body `body` to a temporary file and answers its path. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_GetMailBodyPath(HandleNode* session, HandleNode* folder,
                                                          int32_t mail, int32_t body,
                                                          ResultString* path);

/* The number of attached files. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_GetAttachedMailCount(HandleNode* session,
                                                               HandleNode* folder, int32_t mail,
                                                               int32_t* count);

/* Writes attached file `attached` to a temporary file and answers its path. If NIMPORT_SALVAGE is 1
   and the host has not named the file, a file that the store keeps by itself is called as there,
   and may be empty. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_GetAttachedMailPath(HandleNode* session,
                                                              HandleNode* folder, int32_t mail,
                                                              int32_t attached, ResultString* path);

/* --- Address book ------------------------------------------------------------------------------
 */

/* Opens the address book, reading it into memory at the first open of a session. `user` and
   `account` are not read. If NIMPORT_SALVAGE is 1, the addresses that stand in no group, or in one
   that cannot be reached from the top, follow in top groups without a name. -2: the database cannot
   be read. -3: a row lacks a required value, or an earlier open of this session failed. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL AD_OpenAddressBook(HandleNode* session, HandleNode* user,
                                                          HandleNode* account, HandleNode** book);

/* Closes a book handle and frees the handles beneath it. Returns 0 when no book is open. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL AD_CloseAddressBook(HandleNode* session, HandleNode* user,
                                                           HandleNode* account, HandleNode* book);

/* `parent` is a book or a group. -3: no address book is open, or there is no such item. */

/* The number of groups directly beneath `parent`. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL AD_GetChildGroupCount(HandleNode* session,
                                                             HandleNode* parent, int32_t* count);

/* Stores a new handle for child group number `index`, from 0. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL AD_GetChildGroup(HandleNode* session, HandleNode* parent,
                                                        int32_t index, HandleNode** group);

/* The number of addresses in a group itself, or in the whole book. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL AD_GetAddressCount(HandleNode* session, HandleNode* parent,
                                                          int32_t* count);

/* Stores a new handle for address number `index` of a group or of the whole book. The index is
   tested when the handle is used. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL AD_GetAddress(HandleNode* session, HandleNode* parent,
                                                     int32_t index, HandleNode** address);

/* The display name of a book, a group or an address; empty for a null node. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL AD_GetName(HandleNode* session, HandleNode* node,
                                                  ResultString* text);

/* The address's position in the whole book. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL AD_GetId(HandleNode* session, HandleNode* address,
                                                int32_t* id);

/* The number of fields of an address: 3. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL AD_GetFieldCount(HandleNode* session, HandleNode* book,
                                                        int32_t* count);

/* A field's name ("EMAIL;INTERNET", "NOTE", "FN") and its Japanese label. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL AD_GetFieldName(HandleNode* session, HandleNode* book,
                                                       int32_t field, ResultString* text);
NIMPORT_EXPORT ResultCode NIMPORT_CALL AD_GetFieldLabel(HandleNode* session, HandleNode* book,
                                                        int32_t field, ResultString* text);

/* The index of the field called `name`, a terminated UTF-16 text, or -1. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL AD_GetFieldIndex(HandleNode* session, HandleNode* book,
                                                        const NimportChar16* name, int32_t* index);

/* The value of a field of an address. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL AD_GetValue(HandleNode* session, HandleNode* address,
                                                   int32_t field, ResultString* text);

/* --- Fixed answers -----------------------------------------------------------------------------
   Arguments called `unused` are not read. None of these needs a session. */

/* Write 0. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_GetMailerOption(const void* unused1, const void* unused2,
                                                          int32_t* value);
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_IsExistPassword(const void* unused1, const void* unused2,
                                                          int32_t* exists);
NIMPORT_EXPORT ResultCode NIMPORT_CALL AD_GetMailerOption(const void* unused1, const void* unused2,
                                                          int32_t* value);
NIMPORT_EXPORT ResultCode NIMPORT_CALL AD_GetSubValueCount(const void* unused1, const void* unused2,
                                                           int32_t unused3, int32_t* count);

/* Write 1; the second one returns -3 all the same. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_CheckAccessPrivilege(const void* unused1,
                                                               const void* unused2,
                                                               const void* unused3,
                                                               int32_t* allowed);
NIMPORT_EXPORT ResultCode NIMPORT_CALL AD_CheckAccessPrivilege(const void* unused1,
                                                               const void* unused2,
                                                               const void* unused3,
                                                               int32_t* allowed);

/* Return -3. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_SetOption(void);
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_OptionDialog(void);
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_OptionDialogEx(void);
NIMPORT_EXPORT ResultCode NIMPORT_CALL AD_OptionDialog(void);
NIMPORT_EXPORT ResultCode NIMPORT_CALL AD_GetSubValue(void);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* NIMPORT_NIMPORT_H_ */
