/*
 * nimport: reads the mail and the address book that the mail client NIFTY Manager left on a disk.
 *
 * This header is the whole public interface: 60 plain C functions, usable from C99 and C++11 on.
 * docs/host-authors.md goes through it with whole programs.
 *
 * Results. Every function but QV_GetVersion returns a ResultCode: 0 for success, anything else for
 * a failure. Any function may answer -1, and -3 for a null handle, a handle of the wrong kind or a
 * null out-pointer; what else a function answers stands beside it. An out-parameter is written only
 * on success unless its function says otherwise.
 *
 * Handles. A HandleNode* is opaque: the host stores it and passes it back. Everything hangs beneath
 * the session that ML_Initialize or AD_Initialize opened, and stays valid until that session is
 * closed; handles beneath an address book end with its AD_CloseAddressBook. Asking twice for the
 * same item gives two handles. A handle may be used only with the session that it came from and
 * only while it is valid: this is not checked.
 *
 * Texts. A text result goes into a ResultString that the host owns. Before every call the host sets
 * `encoding`, and `buffer` to null; after it, whatever the code, it frees a buffer that is not null
 * once, with `release(buffer)`.
 *
 * Files. Mail bodies and attached files are handed out as files, by path. A path function uses the
 * name of the one before it again, with the extension of its own file: it may overwrite the file
 * that was handed out last. So read, copy or move a file away before the next path call, or give
 * each its own name by ML_SetTempFileName. When the session is closed, every file that it handed
 * out and that is still at its path is deleted, also one that the host named. Its own directory,
 * for files that the host does not name, is made by the first call that needs it, beneath the first
 * of $TMPDIR, /tmp and /var/tmp that works (on Windows: TMP, TEMP or what the system says), and
 * goes too, unless a host has put something there.
 *
 * Paths. On Windows, answered paths are the machine's own. Elsewhere they have Windows form too,
 * "Z:\tmp\nimport-a1B2c3\$$$nim.txt": to open one, put the drive's directory in place of the letter
 * and colon, and '/' in place of '\'. (Ask for UTF-16: in code page 932 a '\' may be half of a
 * character.) NIMPORT_DRIVES tells where a drive lies, else the Wine prefix; where neither has Z,
 * it is "/". A directory that no drive covers is answered as a native path, which begins with '/'.
 * Paths that stand in a store reach only drives that are mapped, and regular files.
 *
 * Threads. Calls that concern one session must not overlap. Different sessions are independent and
 * may be used in different threads. A session belongs to the process that opened it: after fork,
 * the child leaves it alone and opens its own. Exit handlers and destructors of globals may close
 * sessions; signal handlers may call nothing.
 *
 * The environment. Variables are read when they are needed, so a host may set them itself. But for
 * TZ, an empty one counts as absent and none is read in a set-user-id process.
 *   NIMPORT_REGISTRY     registry files with the mail client's settings, separated by ':' (Windows:
 *                        ';'). Else those of the Wine prefix; on Windows, the registry
 *   NIMPORT_DRIVES       directories of drives: C=/mnt/olddisk;D=/srv/data. Else those of the Wine
 *                        prefix. On Windows for what is read, not for temporary files
 *   WINEPREFIX           the Wine prefix, else .wine in $HOME. Not on Windows
 *   NIMPORT_PLATFORM_ID  1: settings as Windows 95 kept them, 2 (default): as Windows NT and later
 *   NIMPORT_DIAGNOSTICS  a file, or fd:N, that receives the reason of every failure as JSON lines
 *   NIMPORT_SALVAGE      1: what is left of a damaged store is answered (docs/architecture.md)
 *   TMPDIR               where temporary files go. Not on Windows
 *   TZ                   the machine's time zone for dates. Not on Windows
 *
 * The mail client's files are only ever read. What was read of a database before a damaged
 * page (cabinets, folders, a mail's row) is answered as if there were no damage.
 */
#ifndef NIMPORT_NIMPORT_H_
#define NIMPORT_NIMPORT_H_

#include <stdint.h>
#if defined(_WIN32)
#include <wchar.h>
#endif

#if defined(_WIN32)
#define NIMPORT_CALL __cdecl
/* The library's .def file, made from the declarations below, names what it exports. */
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
  /* A database or another file could not be read or written, the folder is not open, or it has no
     such mail. */
  RESULT_DATABASE = -2,
  /* An argument is null or out of range, a handle has the wrong kind, the item or its file does not
     exist, the operation is not supported, or the system refused a call. */
  RESULT_INVALID = -3
};

/* An opaque handle: a session or something found within it. */
typedef struct HandleNode HandleNode;

/* Values for ResultString.encoding. */
enum {
  /* Bytes in code page 932 (Shift-JIS with Microsoft's mapping). */
  ENCODING_CODE_PAGE_932 = 1,
  /* UTF-16 code units (NimportChar16). */
  ENCODING_UTF16 = 2
};

/* A text result. Four machine words, owned by the host. What a function leaves in them:
     success                            `release`, `length` and `buffer` are written
     a wrong `encoding` (-3), or no     `release` is written, `length` is 0 and `buffer` null
     memory for the buffer (-1)
     every other failure                nothing is written: the fields stay as they were */
typedef struct ResultString {
  /* Frees `buffer`, also after its session was closed. Not after the library was unloaded on
     Windows; elsewhere it is the C library's free() and works then too. Null is ignored. */
  void(NIMPORT_CALL* release)(void* buffer);
  /* Set by the host before the call: one of the ENCODING_ values. */
  intptr_t encoding;
  /* Length of the text without its terminator, in bytes (code page 932) or code units (UTF-16). */
  intptr_t length;
  /* The text and its terminator, the host's to free. */
  void* buffer;
} ResultString;

/* --- Version and discovery ------------------------------------------------------------------- */

/* The version of the interface: 4. Not a ResultCode. */
NIMPORT_EXPORT int32_t NIMPORT_CALL QV_GetVersion(void);

/* Writes 1 to *exists when the mail client's program is installed in version 5.0 or later, and
   leaves *exists as it was otherwise. Returns 0 either way. Needs no session; sessions open without
   the program too. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_IsExistMailer(int32_t* exists);

/* The same as ML_IsExistMailer, on the second argument; the first is not read. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL AD_IsExistMailer(const void* unused, int32_t* exists);

/* --- Sessions --------------------------------------------------------------------------------- */

/* Opens a session on the mail database "Cabdata.mdb" and stores its handle in *session, null on
   failure. -3: the mail client's settings (database directory, member ID) or its database are not
   there or cannot be opened, or the MIME library cannot be loaded. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_Initialize(HandleNode** session);

/* Opens a session on the address book database "Abook.mdb"; otherwise as ML_Initialize. The address
   book opens only in such a session, and folders load only in one of ML_Initialize. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL AD_Initialize(HandleNode** session);

/* Closes a session of either kind, also one with open folders or address books: deletes the files
   that it handed out and frees all its handles. Texts that it answered stay the host's. -3: not a
   session handle. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_Terminate(HandleNode* session);

/* The same as ML_Terminate. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL AD_Terminate(HandleNode* session);

/* The mail client's name, "Nifty Manager". */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_GetMailerName(HandleNode* session, ResultString* text);
NIMPORT_EXPORT ResultCode NIMPORT_CALL AD_GetMailerName(HandleNode* session, ResultString* text);

/* --- Users and accounts ----------------------------------------------------------------------- */

/* Loads the cabinets and folders at its first call in a session and writes the number of users, 1.
   Every folder function answers -3 until this has been called. -2: the database cannot be read. A
   load that failed is not repeated: later calls answer 1, over the cabinets and folders that were
   read before the failure. In a session of AD_Initialize nothing is loaded. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_GetUserCount(HandleNode* session, int32_t* count);

/* Stores a new handle for the one user, whatever index up to 1 is given. -3: a greater one. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_GetUser(HandleNode* session, int32_t index,
                                                  HandleNode** user);

/* Writes -1: the number of accounts is not known; account 0 exists. `user` is not read. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_GetAccountCount(HandleNode* session, HandleNode* user,
                                                          int32_t* count);

/* Stores a new handle for the one account, whatever index up to 0 is given, beneath `user` when
   that is not null. -3: a greater index. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_GetAccount(HandleNode* session, HandleNode* user,
                                                     int32_t index, HandleNode** account);

/* The name of a user ("DEFAULT_USER"), an account (the member ID), a cabinet or a folder (which may
   be empty). In the names of cabinets and folders '\', '/' and '#' are written "%5c", "%2f" and
   "%23"; a '%' stays, so this cannot be undone. */
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
   folder. -3: the folders are not loaded (ML_GetUserCount), or `parent` is a session. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_GetChildFolderCount(HandleNode* session,
                                                              HandleNode* parent, int32_t* count);

/* Stores a new handle for child number `index`, from 0. -3: there is no such child, or as above. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_GetChildFolder(HandleNode* session, HandleNode* parent,
                                                         int32_t index, HandleNode** folder);

/* Opens a handle of a folder and loads its mail list; every mail function needs both. One folder of
   a session can be loaded at a time: -3 while another one is. A second handle of that folder opens
   and shares its list. Opening what is open does nothing; for a cabinet nothing is loaded. -2: the
   list of mails cannot be read. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_OpenMailDataFile(HandleNode* session, HandleNode* folder);

/* Closes a handle and releases its folder's mail list, for every other handle of that folder too:
   such a handle then has 0 mails until it is closed and opened again. Closing a cabinet releases
   what the session remembers of the loaded folder's mails: the header functions and dates of mails
   that are kept in columns, the body counts of MIME mails, and sources with a header block then
   answer -3 until the folder is closed and opened again. Closing a handle that is not open does
   nothing. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_CloseMailDataFile(HandleNode* session,
                                                            HandleNode* folder);

/* The number of mails in an opened folder, 0 for an opened cabinet. Writes 0 on failure too. Mails
   of unknown kinds are not counted. -2: the handle is not open. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_GetMailCount(HandleNode* session, HandleNode* folder,
                                                       int32_t* count);

/* --- One mail ---------------------------------------------------------------------------------
   `folder` is a folder opened with ML_OpenMailDataFile, `mail` the mail's position in it, from 0.
   -2: the folder is not open, is a cabinet (the path functions answer 0 for an open cabinet and
   write nothing), or has no such mail; a database or MIME file cannot be read. -3: the mail's row
   or MIME file is missing or unusable. A mail is kept in columns of the database, whole as one text
   in a column (some received mails), or as a MIME file. A host need not tell them apart; what
   differs is said below. */

/* Header texts, cut at 4095 bytes. An empty one reads "DEFAULT"; an empty message ID "DEFAULT" and
   the mail's date as local time, "DEFAULTWed Jan 02 02:03:55 1980", or the failure of
   ML_GetMailDate. A mail kept whole gives what stands after the colon, blank included.
   -3: a column holds nothing but blanks; the text of a mail kept whole lacks the field. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_GetMailSubject(HandleNode* session, HandleNode* folder,
                                                         int32_t mail, ResultString* text);
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_GetMailFrom(HandleNode* session, HandleNode* folder,
                                                      int32_t mail, ResultString* text);
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_GetMailTo(HandleNode* session, HandleNode* folder,
                                                    int32_t mail, ResultString* text);
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_GetMailMessageID(HandleNode* session, HandleNode* folder,
                                                           int32_t mail, ResultString* text);

/* The content type of body `body` of a MIME mail, as numbered by the last ML_GetMailBodyCount of
   the folder: count the same mail first. "DEFAULT" for a mail kept in columns, the header field of
   one kept whole, both for any `body`. -3: no such body, or none was counted. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_GetMailContentType(HandleNode* session,
                                                             HandleNode* folder, int32_t mail,
                                                             int32_t body, ResultString* text);

/* The mail's date in seconds since 1970-01-01 00:00:00; the two functions are the same.
   A date in a column, which received and sent mails of the service and sent MIME mails have, is
   the clock time where the mail client ran, counted as if it were UTC. A Date header, which
   received MIME mails and mails kept whole have, is an instant in UTC; without a zone in it, it is
   this machine's local time. While daylight saving is on here at the date's clock time, the first,
   and the second if it names a zone, come out an hour too early: set TZ to a zone without it, such
   as Asia/Tokyo. A local time that occurs twice is standard time. -3: no date, or not one from 1970
   to 2029 (column) or 2036 (header). *date is -1 too where a Date header cannot be read or a MIME
   mail has none. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_GetMailDate(HandleNode* session, HandleNode* folder,
                                                      int32_t mail, int32_t* date);
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_GetMailTimeStamp(HandleNode* session, HandleNode* folder,
                                                           int32_t mail, int32_t* date);

/* The mail's whole text, line ends CR LF: the MIME file, the text of a mail kept whole, the two
   texts of a forwarded mail, or a header block and the stored text (empty where there is none, the
   block alone for a mail that is only a file). The header block has the values of mails kept in
   columns that were asked for last since the folder was opened, whichever mail they are of: ask for
   this mail's subject, sender, recipient and date first. Message IDs are not in it. A NUL byte ends
   the text, unless NIMPORT_SALVAGE is 1: then a MIME file's NULs are part of it, and `length`
   counts what stands after them. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_GetMailSource(HandleNode* session, HandleNode* folder,
                                                        int32_t mail, ResultString* text);

/* Names the file that the next path function writes; UTF-16, terminated. The right way: a full path
   with an extension, in a directory that the host has made for this and in which nothing else is.
   - Forms: "C:\dir\name.tmp", '/' as good as '\', elsewhere than on Windows "/dir/name.tmp" too. A
     name without a directory is one in the process's working directory. The answered path has the
     form that was given.
   - What comes after the last dot of the whole path is replaced by the extension that the contents
     ask for (a related part other than a bitmap keeps it): "/a.b/name" would become "/a.txt".
   - A file that has the resulting name is overwritten, whoever made it, and deleted when the
     session is closed. Copy or move away what is to stay, before the next path call.
   - A second name replaces the first. The next path function that comes to write its file uses the
     name up, even if it refuses it; one that fails before that (no such mail or stored file) leaves
     it. Path functions without a new name go on with this one.
   - Characters that code page 932 lacks become '?'. A letter with a combining mark after it counts
     as the one character that both show.
   -3: the name is empty or longer than 519 bytes in code page 932. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_SetTempFileName(HandleNode* session,
                                                          const NimportChar16* name);

/* The number of bodies: the main text parts of a MIME mail, then related parts such as pictures; 1
   for every other mail and for some sent MIME mails. Bodies are numbered by the last count of the
   session's open folder, so count a mail's before asking for them. Counts 0 where the MIME library
   answers 0. -3: more than 1,000 main parts, or related parts whose boundaries are damaged. Any
   other code is the MIME library's own, for a mail that it cannot parse. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_GetMailBodyCount(HandleNode* session, HandleNode* folder,
                                                           int32_t mail, int32_t* count);

/* Writes body `body` to a file and answers its path; see Files and Paths above. Text of a column is
   in code page 932 with line ends CR LF and a NUL byte at its end; that of a mail kept whole begins
   after its header and ends without the NUL. A body without text, or of a mail that is only a file,
   is the 8 bytes "DEFAULT" and NUL. `body` matters for MIME mails alone. An open cabinet: 0, and
   nothing is written. -2: the file cannot be created or written; a related part, or the body of a
   mail kept whole, is empty. -3: no such body, an empty main part, or a path of more than 519
   bytes. A wrong `encoding` and a null `path` are noticed after the file was written. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_GetMailBodyPath(HandleNode* session, HandleNode* folder,
                                                          int32_t mail, int32_t body,
                                                          ResultString* path);

/* The number of attached files: 1 for a mail that is only a file; of a MIME mail, all parts that
   are no bodies; 0 for others. Where the MIME library answers 0 for a mail, the function returns 0
   and writes nothing: set *count to 0 before. -3: a MIME mail without attachments has no
   Content-Type either. Any other code is the MIME library's own, for a mail that it cannot
   parse. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_GetAttachedMailCount(HandleNode* session,
                                                               HandleNode* folder, int32_t mail,
                                                               int32_t* count);

/* Writes attached file `attached` to a file and answers its path, as ML_GetMailBodyPath does. Its
   extension is that of the stored file or attachment; signatures and encrypted mails come as empty
   files. If NIMPORT_SALVAGE is 1 and the host has not named the file, a file that the store keeps
   by itself is called as there, and may be empty. -2: no such attachment in a MIME mail; a stored
   file is empty or cannot be read. -3: a number above 0 for a mail that is one file, any for one
   without attached files; the stored file is missing. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL ML_GetAttachedMailPath(HandleNode* session,
                                                              HandleNode* folder, int32_t mail,
                                                              int32_t attached, ResultString* path);

/* --- Address book ------------------------------------------------------------------------------
 */

/* Opens the address book, reading it into memory when no handle of it is open yet. `user` and
   `account` are not read. Addresses that stand in no group, or in one that cannot be reached from
   the top, are not in it; if NIMPORT_SALVAGE is 1, they follow in top groups without a name.
   -2: the database cannot be read. -3: a group has no name or an address no ID, or an earlier open
   failed: that session's address book stays closed, a new session may try again. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL AD_OpenAddressBook(HandleNode* session, HandleNode* user,
                                                          HandleNode* account, HandleNode** book);

/* Closes a book handle and frees it and the handles beneath it; the last one frees the book.
   Returns 0 when no book is open, without looking at `book` unless it is null. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL AD_CloseAddressBook(HandleNode* session, HandleNode* user,
                                                           HandleNode* account, HandleNode* book);

/* `parent` is a book or a group. -3: no address book is open, or there is no such item. Nothing
   here reads the database, so there is no -2. */

/* The number of groups directly beneath `parent`. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL AD_GetChildGroupCount(HandleNode* session,
                                                             HandleNode* parent, int32_t* count);

/* Stores a new handle for child group number `index`, from 0. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL AD_GetChildGroup(HandleNode* session, HandleNode* parent,
                                                        int32_t index, HandleNode** group);

/* The number of addresses in a group itself, without its subgroups, or in the whole book. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL AD_GetAddressCount(HandleNode* session, HandleNode* parent,
                                                          int32_t* count);

/* Stores a new handle for address number `index`, from 0, of a group or of the whole book. The
   index is not tested here: AD_GetName and AD_GetValue answer -3 where there is no address. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL AD_GetAddress(HandleNode* session, HandleNode* parent,
                                                     int32_t index, HandleNode** address);

/* The display name of a book, a group or an address. Empty for a null node, whether a book is open
   or not. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL AD_GetName(HandleNode* session, HandleNode* node,
                                                  ResultString* text);

/* The address's position in the whole book, from 0: the groups' addresses one group after the
   other. It is not tested either. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL AD_GetId(HandleNode* session, HandleNode* address,
                                                int32_t* id);

/* The number of fields of an address: 3. `book` is a book handle, as for the next three. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL AD_GetFieldCount(HandleNode* session, HandleNode* book,
                                                        int32_t* count);

/* The name of field 0, 1 or 2 ("EMAIL;INTERNET", "NOTE", "FN") and its Japanese label. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL AD_GetFieldName(HandleNode* session, HandleNode* book,
                                                       int32_t field, ResultString* text);
NIMPORT_EXPORT ResultCode NIMPORT_CALL AD_GetFieldLabel(HandleNode* session, HandleNode* book,
                                                        int32_t field, ResultString* text);

/* The index of the field called `name`, a terminated UTF-16 text in which letter case counts.
   Writes -1 and returns 0 when there is none. -3: `name` is null. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL AD_GetFieldIndex(HandleNode* session, HandleNode* book,
                                                        const NimportChar16* name, int32_t* index);

/* The value of field 0, 1 or 2 of an address, possibly empty: its ID or internet address, its note,
   its name. Names and IDs are cut at 259 bytes, notes at 4095. */
NIMPORT_EXPORT ResultCode NIMPORT_CALL AD_GetValue(HandleNode* session, HandleNode* address,
                                                   int32_t field, ResultString* text);

/* --- Fixed answers -----------------------------------------------------------------------------
   Arguments called `unused` are not read. None of these needs a session. A null last argument is
   answered with -3. */

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
