// The functions of the MIME library that are called, as it exports them. Text is code page 932.
// Every buffer and array that the library hands out is released with MT_Free. `session` is what
// MT_Init returned. The library keeps one parsed mail per session: the one given to
// MT_ParseMailText last.
#ifndef NIMPORT_WEXMAIL_ENTRY_POINTS_H_
#define NIMPORT_WEXMAIL_ENTRY_POINTS_H_

#include <cstdint>

#if defined(_WIN32)
#define NIMPORT_MIME_CALL __cdecl
#else
#define NIMPORT_MIME_CALL
#endif

namespace nimport::wexmail {

extern "C" {

// A session value; 0 means that the library cannot work.
using MT_InitFunction = std::int32_t NIMPORT_MIME_CALL();

// Ends a session.
using MT_TermFunction = std::int32_t NIMPORT_MIME_CALL(std::int32_t session);

// Releases a buffer or array; null is ignored.
using MT_FreeFunction = void NIMPORT_MIME_CALL(void* memory);

// Parses a zero-terminated text of `sizeBytes` bytes, the terminator counted. 1 when it was parsed.
using MT_ParseMailTextFunction = std::int32_t NIMPORT_MIME_CALL(std::int32_t session,
                                                                const char* text,
                                                                std::int32_t sizeBytes);

// A decoded header text of `*length` bytes, not terminated. 1 on success. Serves MT_GetSubjectD,
// MT_GetFromD, MT_GetToD, MT_GetMessageIDD and MT_GetSendDateD.
using MT_GetHeaderTextFunction = std::int32_t NIMPORT_MIME_CALL(std::int32_t session, char** text,
                                                                std::int32_t* length);

// The position of the first main part; 0 when there is none.
using MT_GetMainHeadPositionFunction = std::int32_t NIMPORT_MIME_CALL(std::int32_t session);

// The main part at `*position`, which moves to the next one (0 after the last). Null out-pointers
// are left out; `unused` arguments are null. 1 on success.
using MT_GetMainNextFunction = std::int32_t NIMPORT_MIME_CALL(
    std::int32_t session, std::int32_t* position, char** contentType,
    std::int32_t* contentTypeLength, void* unused5, void* unused6, void* unused7, void* unused8,
    void* unused9, void* unused10, char** contents, std::int32_t* contentsLength, void* unused13,
    void* unused14, void* unused15, void* unused16, void* unused17, void* unused18, void* unused19,
    void* unused20, void* unused21, void* unused22, void* unused23, void* unused24, void* unused25,
    void* unused26);

// The number of attachments.
using MT_GetAttachCountFunction = std::int32_t NIMPORT_MIME_CALL(std::int32_t session);

// The attachments. Each out-pointer receives an array with one entry per attachment: pairs of items
// and pointers to the items' lengths in bytes. Returns the number of attachments. The items belong
// to the arrays: MT_Free of an array releases them too.
using MT_GetAttachFunction = std::int32_t NIMPORT_MIME_CALL(
    std::int32_t session, char*** contentTypes, std::int32_t*** contentTypeLengths, char*** unused3,
    std::int32_t*** unused4, char*** fileNames, std::int32_t*** fileNameLengths, char*** unused7,
    std::int32_t*** unused8, char*** contents, std::int32_t*** contentsLengths);

// The parts of one content type ("type/subtype", zero-terminated), in the order of the mail: their
// header texts and decoded bodies, as arrays like those of MT_GetAttach. 1 on success.
using MT_GetPartDFunction = std::int32_t NIMPORT_MIME_CALL(
    std::int32_t session, const char* contentType, std::int32_t* count, void** unused4,
    void** unused5, char*** headers, std::int32_t*** headerLengths, char*** bodies,
    std::int32_t*** bodyLengths);

}  // extern "C"

}  // namespace nimport::wexmail

#endif  // NIMPORT_WEXMAIL_ENTRY_POINTS_H_
