/*
 * walk: visits everything that the plug-in can tell of a store and prints every answer as a line of
 * JSON in UTF-8. Of the files that the plug-in writes it prints name, size and a hash of the
 * contents; so the outputs of two walks over the same store are the same, wherever they ran.
 *
 *   walk            the installation, the mails and the address book
 *
 * It stands on the public header alone and is meant to be read: a host does the same calls in the
 * same order. Exit code 0 when both sessions opened.
 */
#include <nimport/nimport.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#if defined(_WIN32)
#include <fcntl.h>
#include <io.h>
#endif

/* --- Output ----------------------------------------------------------------------------------- */

static void BeginLine(const char* item) {
  printf("{\"item\":\"%s\"", item);
}

static void EndLine(void) {
  puts("}");
}

static void PrintNumber(const char* name, long long value) {
  printf(",\"%s\":%lld", name, value);
}

static void PutUtf8(unsigned long character) {
  if (character < 0x80) {
    putchar((int)character);
  } else if (character < 0x800) {
    putchar((int)(0xC0 | character >> 6));
    putchar((int)(0x80 | (character & 0x3F)));
  } else if (character < 0x10000) {
    putchar((int)(0xE0 | character >> 12));
    putchar((int)(0x80 | (character >> 6 & 0x3F)));
    putchar((int)(0x80 | (character & 0x3F)));
  } else {
    putchar((int)(0xF0 | character >> 18));
    putchar((int)(0x80 | (character >> 12 & 0x3F)));
    putchar((int)(0x80 | (character >> 6 & 0x3F)));
    putchar((int)(0x80 | (character & 0x3F)));
  }
}

/* A text as JSON writes it. */
static void PutText(const NimportChar16* text, size_t length) {
  size_t i;
  putchar('"');
  for (i = 0; i < length; ++i) {
    unsigned long unit = text[i];
    const int isPair =
        unit >= 0xD800 && unit < 0xDC00 && i + 1 < length && (text[i + 1] & 0xFC00) == 0xDC00;
    if (isPair) unit = 0x10000 + ((unit & 0x3FF) << 10) + (text[++i] & 0x3FFu);
    if (unit == '"' || unit == '\\') {
      printf("\\%c", (int)unit);
    } else if (unit < 0x20 || (unit >= 0xD800 && unit < 0xE000)) {
      printf("\\u%04lx", unit);
    } else {
      PutUtf8(unit);
    }
  }
  putchar('"');
}

/* --- Answers ---------------------------------------------------------------------------------- */

/* A record that asks for UTF-16; ENCODING_CODE_PAGE_932 gives bytes as the store holds them. */
static ResultString NewText(intptr_t encoding) {
  ResultString text;
  memset(&text, 0, sizeof text);
  text.encoding = encoding;
  return text;
}

/* Every buffer is given back, also after a failure: then it is null, which is ignored. */
static void ReleaseText(ResultString* text) {
  if (text->release != NULL) text->release(text->buffer);
}

static void PrintNumberAnswer(const char* name, ResultCode code, int32_t value) {
  printf(",\"%s\":{\"code\":%d", name, (int)code);
  if (code == RESULT_OK) PrintNumber("value", value);
  putchar('}');
}

static void PrintTextAnswer(const char* name, ResultCode code, ResultString* text) {
  printf(",\"%s\":{\"code\":%d", name, (int)code);
  if (code == RESULT_OK) {
    fputs(",\"text\":", stdout);
    PutText((const NimportChar16*)text->buffer, (size_t)text->length);
  }
  putchar('}');
  ReleaseText(text);
}

/* FNV-1a with 64 bits: tells contents apart, protects nothing. */
#define HASH_START 0xCBF29CE484222325ull

static unsigned long long HashBytes(unsigned long long hash, const void* bytes, size_t size) {
  const unsigned char* byte = (const unsigned char*)bytes;
  while (size-- > 0)
    hash = (hash ^ *byte++) * 0x100000001B3ull;
  return hash;
}

static void PrintHash(long long size, unsigned long long hash) {
  PrintNumber("size", size);
  printf(",\"hash\":\"%08lx%08lx\"", (unsigned long)(hash >> 32),
         (unsigned long)(hash & 0xFFFFFFFFul));
}

/* A text as bytes in code page 932. */
static void PrintBytesAnswer(const char* name, ResultCode code, ResultString* text) {
  printf(",\"%s\":{\"code\":%d", name, (int)code);
  if (code == RESULT_OK) {
    PrintHash((long long)text->length, HashBytes(HASH_START, text->buffer, (size_t)text->length));
  }
  putchar('}');
  ReleaseText(text);
}

/* --- Files ------------------------------------------------------------------------------------ */

/* Opens a file by the path that the plug-in answered. On Windows that is the system's own;
   elsewhere drive Z stands for the root of the file system, and names are UTF-8 (those of temporary
   files are ASCII). */
static FILE* OpenAnswered(const NimportChar16* path) {
#if defined(_WIN32)
  return _wfopen(path, L"rb");
#else
  char native[1024];
  size_t i;
  if (path[0] == 'Z' && path[1] == ':') path += 2;
  /* Where no drive leads to temporary files, they have the system's own paths. */
  if (path[0] != '/' && path[0] != '\\') return NULL;
  for (i = 0; path[i] != 0 && path[i] < 0x80 && i + 1 < sizeof native; ++i)
    native[i] = path[i] == '\\' ? '/' : (char)path[i];
  native[i] = '\0';
  return path[i] == 0 ? fopen(native, "rb") : NULL;
#endif
}

static void PrintContents(const NimportChar16* path) {
  static unsigned char piece[65536];
  unsigned long long hash = HASH_START;
  long long size = 0;
  size_t count;
  FILE* file = OpenAnswered(path);
  if (file == NULL) {
    fputs(",\"file\":\"cannot be opened\"", stdout);
    return;
  }
  while ((count = fread(piece, 1, sizeof piece, file)) > 0) {
    hash = HashBytes(hash, piece, count);
    size += (long long)count;
  }
  fclose(file);
  PrintHash(size, hash);
}

static size_t LengthOf(const NimportChar16* text) {
  size_t length = 0;
  while (text[length] != 0)
    ++length;
  return length;
}

/* Where the last part of a path begins. */
static size_t LastPart(const NimportChar16* path) {
  size_t i = LengthOf(path);
  while (i > 0 && path[i - 1] != '\\' && path[i - 1] != '/')
    --i;
  return i;
}

#define MAX_PATH_UNITS 520

/* The directory of the temporary files, known from the first of them; ends with '\'. */
static NimportChar16 temporaryDirectory[MAX_PATH_UNITS];

/* A path answer: only its last part is printed, and what the file holds. The file is overwritten by
   the next path function, so it is read at once. */
static void PrintPathAnswer(const char* name, ResultCode code, ResultString* path) {
  printf(",\"%s\":{\"code\":%d", name, (int)code);
  if (code == RESULT_OK) {
    const NimportChar16* text = (const NimportChar16*)path->buffer;
    const size_t last = LastPart(text);
    fputs(",\"name\":", stdout);
    PutText(text + last, LengthOf(text) - last);
    PrintContents(text);
    if (last < MAX_PATH_UNITS) {
      memcpy(temporaryDirectory, text, last * sizeof *text);
      temporaryDirectory[last] = 0;
    }
  }
  putchar('}');
  ReleaseText(path);
}

/* Gives the next temporary file a name of its own, as a host does that wants to keep several. */
static void NameNextFile(HandleNode* session, int32_t number) {
  NimportChar16 name[MAX_PATH_UNITS + 32];
  char ending[32];
  size_t length = LengthOf(temporaryDirectory);
  size_t i;
  if (length == 0) return;
  memcpy(name, temporaryDirectory, length * sizeof *name);
  sprintf(ending, "walk-%d.dat", (int)number);
  for (i = 0; i <= strlen(ending); ++i)
    name[length++] = (NimportChar16)ending[i];
  PrintNumber("named", ML_SetTempFileName(session, name));
}

/* --- Mails ------------------------------------------------------------------------------------ */

static void PrintHeader(HandleNode* session, HandleNode* folder, int32_t mail) {
  static const struct {
    const char* name;
    ResultCode(NIMPORT_CALL* get)(HandleNode*, HandleNode*, int32_t, ResultString*);
  } texts[] = {{"subject", ML_GetMailSubject},
               {"from", ML_GetMailFrom},
               {"to", ML_GetMailTo},
               {"messageId", ML_GetMailMessageID}};
  static const struct {
    const char* name;
    ResultCode(NIMPORT_CALL* get)(HandleNode*, HandleNode*, int32_t, int32_t*);
  } numbers[] = {{"date", ML_GetMailDate}, {"timeStamp", ML_GetMailTimeStamp}};
  size_t i;
  for (i = 0; i < sizeof texts / sizeof *texts; ++i) {
    ResultString text = NewText(ENCODING_UTF16);
    const ResultCode code = texts[i].get(session, folder, mail, &text);
    PrintTextAnswer(texts[i].name, code, &text);
  }
  for (i = 0; i < sizeof numbers / sizeof *numbers; ++i) {
    int32_t value = 0;
    const ResultCode code = numbers[i].get(session, folder, mail, &value);
    PrintNumberAnswer(numbers[i].name, code, value);
  }
}

static void WalkBodies(HandleNode* session, HandleNode* folder, int32_t mail, int32_t count) {
  int32_t body;
  for (body = 0; body < count; ++body) {
    ResultString type = NewText(ENCODING_UTF16);
    ResultString path = NewText(ENCODING_UTF16);
    ResultCode code = ML_GetMailContentType(session, folder, mail, body, &type);
    BeginLine("body");
    PrintNumber("mail", mail);
    PrintNumber("body", body);
    PrintTextAnswer("contentType", code, &type);
    code = ML_GetMailBodyPath(session, folder, mail, body, &path);
    PrintPathAnswer("path", code, &path);
    EndLine();
  }
}

static void WalkAttached(HandleNode* session, HandleNode* folder, int32_t mail, int32_t count) {
  int32_t attached;
  for (attached = 0; attached < count; ++attached) {
    ResultString path = NewText(ENCODING_UTF16);
    ResultCode code;
    BeginLine("attached");
    PrintNumber("mail", mail);
    PrintNumber("attached", attached);
    NameNextFile(session, attached);
    code = ML_GetAttachedMailPath(session, folder, mail, attached, &path);
    PrintPathAnswer("path", code, &path);
    EndLine();
  }
}

static void WalkMail(HandleNode* session, HandleNode* folder, int32_t mail) {
  ResultString source = NewText(ENCODING_CODE_PAGE_932);
  int32_t bodies = 0;
  int32_t attached = 0;
  ResultCode bodiesCode;
  ResultCode attachedCode;
  BeginLine("mail");
  PrintNumber("mail", mail);
  /* The source of some mails is composed of the header fields that were asked for before. */
  PrintHeader(session, folder, mail);
  PrintBytesAnswer("source", ML_GetMailSource(session, folder, mail, &source), &source);
  bodiesCode = ML_GetMailBodyCount(session, folder, mail, &bodies);
  PrintNumberAnswer("bodies", bodiesCode, bodies);
  attachedCode = ML_GetAttachedMailCount(session, folder, mail, &attached);
  PrintNumberAnswer("attached", attachedCode, attached);
  EndLine();
  if (bodiesCode == RESULT_OK) WalkBodies(session, folder, mail, bodies);
  if (attachedCode == RESULT_OK) WalkAttached(session, folder, mail, attached);
}

static void WalkMails(HandleNode* session, HandleNode* folder) {
  int32_t count = 0;
  int32_t mail;
  ResultCode code = ML_OpenMailDataFile(session, folder);
  BeginLine("mails");
  PrintNumber("open", code);
  code = ML_GetMailCount(session, folder, &count);
  PrintNumberAnswer("count", code, count);
  EndLine();
  for (mail = 0; mail < count; ++mail)
    WalkMail(session, folder, mail);
  BeginLine("close");
  PrintNumber("code", ML_CloseMailDataFile(session, folder));
  EndLine();
}

/* Cabinets have folders beneath them, folders have mails. */
static void WalkFolders(HandleNode* session, HandleNode* parent, int depth) {
  int32_t count = 0;
  int32_t index;
  ResultCode code = ML_GetChildFolderCount(session, parent, &count);
  BeginLine("folders");
  PrintNumber("depth", depth);
  PrintNumberAnswer("count", code, count);
  EndLine();
  for (index = 0; index < count; ++index) {
    HandleNode* folder = NULL;
    ResultString name = NewText(ENCODING_UTF16);
    code = ML_GetChildFolder(session, parent, index, &folder);
    BeginLine(depth == 0 ? "cabinet" : "folder");
    PrintNumber("index", index);
    PrintNumber("code", code);
    PrintTextAnswer("name", ML_GetName(session, folder, &name), &name);
    EndLine();
    if (code != RESULT_OK) continue;
    if (depth > 0) WalkMails(session, folder);
    if (depth == 0) WalkFolders(session, folder, depth + 1);
  }
}

static void WalkUser(HandleNode* session) {
  HandleNode* user = NULL;
  HandleNode* account = NULL;
  ResultString userName = NewText(ENCODING_UTF16);
  ResultString accountName = NewText(ENCODING_UTF16);
  int32_t users = 0;
  int32_t accounts = 0;
  /* Loads the folders: without it nothing beneath answers. */
  ResultCode code = ML_GetUserCount(session, &users);
  BeginLine("user");
  PrintNumberAnswer("users", code, users);
  PrintNumber("code", ML_GetUser(session, 0, &user));
  PrintTextAnswer("name", ML_GetName(session, user, &userName), &userName);
  code = ML_GetAccountCount(session, user, &accounts);
  PrintNumberAnswer("accounts", code, accounts);
  PrintNumber("accountCode", ML_GetAccount(session, user, 0, &account));
  PrintTextAnswer("account", ML_GetName(session, account, &accountName), &accountName);
  EndLine();
  WalkFolders(session, user, 0);
}

static int WalkMailSide(void) {
  HandleNode* session = NULL;
  ResultString name = NewText(ENCODING_UTF16);
  const ResultCode code = ML_Initialize(&session);
  BeginLine("mailSession");
  PrintNumber("code", code);
  PrintTextAnswer("mailer", ML_GetMailerName(session, &name), &name);
  EndLine();
  if (code != RESULT_OK) return 0;
  WalkUser(session);
  BeginLine("end");
  PrintNumber("code", ML_Terminate(session));
  EndLine();
  return 1;
}

/* --- Address book ----------------------------------------------------------------------------- */

static void WalkAddress(HandleNode* session, HandleNode* address, int32_t fields) {
  ResultString name = NewText(ENCODING_UTF16);
  int32_t id = 0;
  int32_t field;
  const ResultCode code = AD_GetId(session, address, &id);
  BeginLine("address");
  PrintNumberAnswer("id", code, id);
  PrintTextAnswer("name", AD_GetName(session, address, &name), &name);
  for (field = 0; field < fields; ++field) {
    ResultString value = NewText(ENCODING_UTF16);
    char label[32];
    sprintf(label, "value%d", (int)field);
    PrintTextAnswer(label, AD_GetValue(session, address, field, &value), &value);
  }
  EndLine();
}

static void WalkAddresses(HandleNode* session, HandleNode* parent, int32_t fields) {
  int32_t count = 0;
  int32_t index;
  ResultCode code = AD_GetAddressCount(session, parent, &count);
  BeginLine("addresses");
  PrintNumberAnswer("count", code, count);
  EndLine();
  for (index = 0; index < count; ++index) {
    HandleNode* address = NULL;
    if (AD_GetAddress(session, parent, index, &address) == RESULT_OK) {
      WalkAddress(session, address, fields);
    }
  }
}

/* Groups nest as deep as somebody made them: deeper than this the walk does not follow. */
#define MAX_GROUP_DEPTH 1000

static void WalkGroups(HandleNode* session, HandleNode* parent, int32_t fields, int depth) {
  int32_t count = 0;
  int32_t index;
  ResultCode code = AD_GetChildGroupCount(session, parent, &count);
  BeginLine("groups");
  PrintNumber("depth", depth);
  PrintNumberAnswer("count", code, count);
  EndLine();
  for (index = 0; index < count; ++index) {
    HandleNode* group = NULL;
    ResultString name = NewText(ENCODING_UTF16);
    code = AD_GetChildGroup(session, parent, index, &group);
    BeginLine("group");
    PrintNumber("depth", depth);
    PrintNumber("code", code);
    PrintTextAnswer("name", AD_GetName(session, group, &name), &name);
    EndLine();
    if (code != RESULT_OK) continue;
    WalkAddresses(session, group, fields);
    if (depth < MAX_GROUP_DEPTH) WalkGroups(session, group, fields, depth + 1);
  }
}

static int32_t WalkFields(HandleNode* session, HandleNode* book) {
  static const NimportChar16 fullName[] = {'F', 'N', 0};
  int32_t count = 0;
  int32_t place = 0;
  int32_t field;
  ResultCode code = AD_GetFieldCount(session, book, &count);
  BeginLine("fields");
  PrintNumberAnswer("count", code, count);
  code = AD_GetFieldIndex(session, book, fullName, &place);
  PrintNumberAnswer("fullName", code, place);
  EndLine();
  for (field = 0; field < count; ++field) {
    ResultString name = NewText(ENCODING_UTF16);
    ResultString label = NewText(ENCODING_UTF16);
    BeginLine("field");
    PrintNumber("field", field);
    PrintTextAnswer("name", AD_GetFieldName(session, book, field, &name), &name);
    PrintTextAnswer("label", AD_GetFieldLabel(session, book, field, &label), &label);
    EndLine();
  }
  return count;
}

static void WalkBook(HandleNode* session) {
  HandleNode* book = NULL;
  ResultString name = NewText(ENCODING_UTF16);
  int32_t fields;
  const ResultCode code = AD_OpenAddressBook(session, NULL, NULL, &book);
  BeginLine("addressBook");
  PrintNumber("code", code);
  PrintTextAnswer("name", AD_GetName(session, book, &name), &name);
  EndLine();
  if (code != RESULT_OK) return;
  fields = WalkFields(session, book);
  WalkAddresses(session, book, fields);
  WalkGroups(session, book, fields, 0);
  BeginLine("closeBook");
  PrintNumber("code", AD_CloseAddressBook(session, NULL, NULL, book));
  EndLine();
}

static int WalkAddressSide(void) {
  HandleNode* session = NULL;
  HandleNode* level = NULL;
  ResultString name = NewText(ENCODING_UTF16);
  int32_t users = 0;
  int32_t accounts = 0;
  ResultCode code = AD_Initialize(&session);
  const int isOpen = code == RESULT_OK;
  BeginLine("addressSession");
  PrintNumber("code", code);
  PrintTextAnswer("mailer", AD_GetMailerName(session, &name), &name);
  /* An address book has neither users nor accounts. */
  code = AD_GetUserCount(session, &users);
  PrintNumberAnswer("users", code, users);
  code = AD_GetAccountCount(session, NULL, &accounts);
  PrintNumberAnswer("accounts", code, accounts);
  PrintNumber("user", AD_GetUser(session, 0, &level));
  PrintNumber("account", AD_GetAccount(session, NULL, 0, &level));
  EndLine();
  if (!isOpen) return 0;
  WalkBook(session);
  BeginLine("end");
  PrintNumber("code", AD_Terminate(session));
  EndLine();
  return 1;
}

/* --- Without a session ------------------------------------------------------------------------ */

static void PrintInstallation(void) {
  int32_t mail = 0;
  int32_t addresses = 0;
  BeginLine("installation");
  PrintNumber("version", QV_GetVersion());
  PrintNumber("mailCode", ML_IsExistMailer(&mail));
  PrintNumber("mailer", mail);
  PrintNumber("addressCode", AD_IsExistMailer(NULL, &addresses));
  PrintNumber("addressMailer", addresses);
  EndLine();
}

static void PrintFixedAnswers(void) {
  static const struct {
    const char* name;
    ResultCode(NIMPORT_CALL* get)(const void*, const void*, int32_t*);
  } options[] = {{"ML_GetMailerOption", ML_GetMailerOption},
                 {"ML_IsExistPassword", ML_IsExistPassword},
                 {"AD_GetMailerOption", AD_GetMailerOption}};
  static const struct {
    const char* name;
    ResultCode(NIMPORT_CALL* ask)(void);
  } refusals[] = {{"ML_SetOption", ML_SetOption},
                  {"ML_OptionDialog", ML_OptionDialog},
                  {"ML_OptionDialogEx", ML_OptionDialogEx},
                  {"AD_OptionDialog", AD_OptionDialog},
                  {"AD_GetSubValue", AD_GetSubValue}};
  int32_t value = 77;
  ResultCode code;
  size_t i;
  BeginLine("fixedAnswers");
  for (i = 0; i < sizeof options / sizeof *options; ++i) {
    code = options[i].get(NULL, NULL, &value);
    PrintNumberAnswer(options[i].name, code, value);
  }
  code = AD_GetSubValueCount(NULL, NULL, 0, &value);
  PrintNumberAnswer("AD_GetSubValueCount", code, value);
  code = ML_CheckAccessPrivilege(NULL, NULL, NULL, &value);
  PrintNumberAnswer("ML_CheckAccessPrivilege", code, value);
  PrintNumber("AD_CheckAccessPrivilege", AD_CheckAccessPrivilege(NULL, NULL, NULL, &value));
  PrintNumber("addressPrivilege", value);
  for (i = 0; i < sizeof refusals / sizeof *refusals; ++i)
    PrintNumber(refusals[i].name, refusals[i].ask());
  EndLine();
}

int main(void) {
  int hasMails;
  int hasAddresses;
#if defined(_WIN32)
  _setmode(_fileno(stdout), _O_BINARY);
#endif
  PrintInstallation();
  PrintFixedAnswers();
  hasMails = WalkMailSide();
  hasAddresses = WalkAddressSide();
  return hasMails && hasAddresses ? EXIT_SUCCESS : EXIT_FAILURE;
}
