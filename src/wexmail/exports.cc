// The library's functions for its callers. Each finds its session, asks the session's mail, and
// hands the answers over; whatever is thrown on the way becomes the answer 0.

#include <mutex>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

#include "wexmail/buffer.h"
#include "wexmail/entry_points.h"
#include "wexmail/session_table.h"

#if defined(_WIN32)
#define WEXMAIL_EXPORT extern "C" __declspec(dllexport)
#else
#define WEXMAIL_EXPORT extern "C" __attribute__((visibility("default")))
#endif

namespace nimport::wexmail {
namespace {

SessionTable& Sessions() {
  // Never destroyed: a caller's exit handlers may still come here.
  static auto* const sessions = new SessionTable;
  return *sessions;
}

// Runs `ask` on the session's mail under its lock; 0 for an unknown session or one without a mail,
// and for whatever is thrown.
template <typename Ask>
std::int32_t WithMail(std::int32_t number, Ask ask) noexcept {
  try {
    const std::shared_ptr<Session> session = Sessions().Find(number);
    if (session == nullptr) return 0;
    const std::lock_guard lock(session->mutex);
    return session->mail == nullptr ? 0 : ask(*session->mail);
  } catch (...) {
    return 0;
  }
}

// Stores `value` where a caller wants it.
template <typename T>
void Put(T* out, std::type_identity_t<T> value) {
  if (out != nullptr) *out = value;
}

// Hands a text over. Cannot fail, so that a caller never holds a half of an answer.
void PutText(char** text, std::int32_t* length, const Buffer& buffer, std::int32_t size) {
  Put(length, size);
  if (text != nullptr) *text = Buffer(buffer).Detach();
}

std::int32_t GetHeaderText(std::int32_t session, const char* fieldName, char** text,
                           std::int32_t* length) noexcept {
  Put(text, nullptr);
  Put(length, 0);
  return WithMail(session, [&](KeptMail& mail) {
    const Buffer value{mail.mail().HeaderText(fieldName)};
    PutText(text, length, value, value.Size32());
    return 1;
  });
}

// A caller's pair of out-pointers: items and their lengths.
struct ItemsOut {
  char*** items;
  std::int32_t*** lengths;

  void Clear() const {
    Put(items, nullptr);
    Put(lengths, nullptr);
  }
};

// The arrays for several pairs of out-pointers, handed over when all of them are made.
class Answers {
 public:
  void Add(const ItemsOut& out, std::span<const Buffer> items) {
    answers_.push_back({out, Buffer::OfItems(items), Buffer::OfSizes(items)});
  }

  void HandOver() {
    for (Answer& answer : answers_) {
      if (answer.out.items != nullptr) {
        *answer.out.items = reinterpret_cast<char**>(answer.items.Detach());
      }
      if (answer.out.lengths != nullptr) {
        *answer.out.lengths = reinterpret_cast<std::int32_t**>(answer.lengths.Detach());
      }
    }
  }

 private:
  struct Answer {
    ItemsOut out;
    Buffer items, lengths;
  };
  std::vector<Answer> answers_;
};

// One buffer for each of `partIndexes`.
template <typename MakeItem>
std::vector<Buffer> MakeItems(const std::vector<std::size_t>& partIndexes, MakeItem makeItem) {
  std::vector<Buffer> items;
  items.reserve(partIndexes.size());
  for (const std::size_t partIndex : partIndexes)
    items.push_back(makeItem(partIndex));
  return items;
}

std::int32_t Count(const std::vector<std::size_t>& partIndexes) {
  return static_cast<std::int32_t>(partIndexes.size());  // MAX_PARTS at most
}

}  // namespace

WEXMAIL_EXPORT std::int32_t NIMPORT_MIME_CALL MT_Init() {
  try {
    return Sessions().Add();
  } catch (...) {
    return 0;
  }
}

WEXMAIL_EXPORT std::int32_t NIMPORT_MIME_CALL MT_Term(std::int32_t session) {
  try {
    return Sessions().Remove(session) ? 1 : 0;
  } catch (...) {
    return 0;
  }
}

WEXMAIL_EXPORT void NIMPORT_MIME_CALL MT_Free(void* memory) {
  Buffer::Release(memory);
}

WEXMAIL_EXPORT std::int32_t NIMPORT_MIME_CALL MT_ParseMailText(std::int32_t session,
                                                               const char* text,
                                                               std::int32_t sizeBytes) {
  if (text == nullptr || sizeBytes < 1) return 0;
  try {
    const std::shared_ptr<Session> found = Sessions().Find(session);
    if (found == nullptr) return 0;
    std::string_view mail(text, static_cast<std::size_t>(sizeBytes));
    // A caller who forgot to count the terminator does not lose the last byte for it.
    if (mail.back() == '\0') mail.remove_suffix(1);
    const std::lock_guard lock(found->mutex);
    found->Parse(mail);
    return 1;
  } catch (...) {
    return 0;
  }
}

WEXMAIL_EXPORT std::int32_t NIMPORT_MIME_CALL MT_GetSubjectD(std::int32_t session, char** text,
                                                             std::int32_t* length) {
  return GetHeaderText(session, "Subject", text, length);
}

WEXMAIL_EXPORT std::int32_t NIMPORT_MIME_CALL MT_GetFromD(std::int32_t session, char** text,
                                                          std::int32_t* length) {
  return GetHeaderText(session, "From", text, length);
}

WEXMAIL_EXPORT std::int32_t NIMPORT_MIME_CALL MT_GetToD(std::int32_t session, char** text,
                                                        std::int32_t* length) {
  return GetHeaderText(session, "To", text, length);
}

WEXMAIL_EXPORT std::int32_t NIMPORT_MIME_CALL MT_GetMessageIDD(std::int32_t session, char** text,
                                                               std::int32_t* length) {
  return GetHeaderText(session, "Message-ID", text, length);
}

WEXMAIL_EXPORT std::int32_t NIMPORT_MIME_CALL MT_GetSendDateD(std::int32_t session, char** text,
                                                              std::int32_t* length) {
  return GetHeaderText(session, "Date", text, length);
}

// A position is a main part's place in the list, from 1.
WEXMAIL_EXPORT std::int32_t NIMPORT_MIME_CALL MT_GetMainHeadPosition(std::int32_t session) {
  return WithMail(session,
                  [](KeptMail& mail) { return mail.mail().roles().mains.empty() ? 0 : 1; });
}

WEXMAIL_EXPORT std::int32_t NIMPORT_MIME_CALL MT_GetMainNext(
    std::int32_t session, std::int32_t* position, char** contentType,
    std::int32_t* contentTypeLength, void* /*unused5*/, void* /*unused6*/, void* /*unused7*/,
    void* /*unused8*/, void* /*unused9*/, void* /*unused10*/, char** contents,
    std::int32_t* contentsLength, void* /*unused13*/, void* /*unused14*/, void* /*unused15*/,
    void* /*unused16*/, void* /*unused17*/, void* /*unused18*/, void* /*unused19*/,
    void* /*unused20*/, void* /*unused21*/, void* /*unused22*/, void* /*unused23*/,
    void* /*unused24*/, void* /*unused25*/, void* /*unused26*/) {
  Put(contentType, nullptr);
  Put(contentTypeLength, 0);
  Put(contents, nullptr);
  Put(contentsLength, 0);
  return WithMail(session, [&](KeptMail& mail) {
    const std::vector<std::size_t>& mains = mail.mail().roles().mains;
    if (position == nullptr || *position < 1 || *position > Count(mains)) return 0;
    const std::size_t partIndex = mains[static_cast<std::size_t>(*position) - 1];
    const bool wantsContents = contents != nullptr || contentsLength != nullptr;
    const Buffer type{mail.mail().parts()[partIndex].type};
    const Buffer shown = wantsContents ? mail.ShownContents(partIndex) : Buffer();
    const std::int32_t typeSize = type.Size32();
    const std::int32_t shownSize = shown.Size32();
    PutText(contentType, contentTypeLength, type, typeSize);
    PutText(contents, contentsLength, shown, shownSize);
    *position = *position < Count(mains) ? *position + 1 : 0;
    return 1;
  });
}

WEXMAIL_EXPORT std::int32_t NIMPORT_MIME_CALL MT_GetAttachCount(std::int32_t session) {
  return WithMail(session, [](KeptMail& mail) { return Count(mail.mail().roles().attachments); });
}

WEXMAIL_EXPORT std::int32_t NIMPORT_MIME_CALL MT_GetAttach(
    std::int32_t session, char*** contentTypes, std::int32_t*** contentTypeLengths, char*** unused3,
    std::int32_t*** unused4, char*** fileNames, std::int32_t*** fileNameLengths, char*** unused7,
    std::int32_t*** unused8, char*** contents, std::int32_t*** contentsLengths) {
  const ItemsOut typesOut{contentTypes, contentTypeLengths};
  const ItemsOut namesOut{fileNames, fileNameLengths};
  const ItemsOut contentsOut{contents, contentsLengths};
  const ItemsOut emptyOuts[] = {{unused3, unused4}, {unused7, unused8}};
  for (const ItemsOut& out : {typesOut, namesOut, contentsOut, emptyOuts[0], emptyOuts[1]}) {
    out.Clear();
  }
  return WithMail(session, [&](KeptMail& mail) {
    const std::vector<std::size_t>& attachments = mail.mail().roles().attachments;
    if (attachments.empty()) return 0;
    Answers answers;
    answers.Add(typesOut, MakeItems(attachments, [&](std::size_t i) {
                  return Buffer{mail.mail().parts()[i].type};
                }));
    answers.Add(namesOut, MakeItems(attachments, [&](std::size_t i) {
                  return Buffer{mail.mail().SavedName(i)};
                }));
    answers.Add(contentsOut, MakeItems(attachments, [&](std::size_t i) { return mail.Bytes(i); }));
    const std::vector<Buffer> nothing(attachments.size(), Buffer{std::string_view()});
    for (const ItemsOut& out : emptyOuts)
      answers.Add(out, nothing);
    answers.HandOver();
    return Count(attachments);
  });
}

WEXMAIL_EXPORT std::int32_t NIMPORT_MIME_CALL
MT_GetPartD(std::int32_t session, const char* contentType, std::int32_t* count, void** unused4,
            void** unused5, char*** headers, std::int32_t*** headerLengths, char*** bodies,
            std::int32_t*** bodyLengths) {
  Put(count, 0);
  Put(unused4, nullptr);
  Put(unused5, nullptr);
  const ItemsOut headersOut{headers, headerLengths};
  const ItemsOut bodiesOut{bodies, bodyLengths};
  headersOut.Clear();
  bodiesOut.Clear();
  if (contentType == nullptr) return 0;
  return WithMail(session, [&](KeptMail& mail) {
    const std::vector<std::size_t> found = mail.FindParts(contentType);
    Answers answers;
    answers.Add(headersOut, MakeItems(found, [&](std::size_t i) {
                  return Buffer{mail.mail().parts()[i].header.In(mail.mail().text())};
                }));
    answers.Add(bodiesOut, MakeItems(found, [&](std::size_t i) { return mail.ShownContents(i); }));
    answers.HandOver();
    Put(count, Count(found));
    return 1;
  });
}

// The callers' declarations and these functions must agree to the letter.
static_assert(std::is_same_v<decltype(MT_Init), wexmail::MT_InitFunction>);
static_assert(std::is_same_v<decltype(MT_Term), wexmail::MT_TermFunction>);
static_assert(std::is_same_v<decltype(MT_Free), wexmail::MT_FreeFunction>);
static_assert(std::is_same_v<decltype(MT_ParseMailText), wexmail::MT_ParseMailTextFunction>);
static_assert(std::is_same_v<decltype(MT_GetSubjectD), wexmail::MT_GetHeaderTextFunction>);
static_assert(std::is_same_v<decltype(MT_GetFromD), wexmail::MT_GetHeaderTextFunction>);
static_assert(std::is_same_v<decltype(MT_GetToD), wexmail::MT_GetHeaderTextFunction>);
static_assert(std::is_same_v<decltype(MT_GetMessageIDD), wexmail::MT_GetHeaderTextFunction>);
static_assert(std::is_same_v<decltype(MT_GetSendDateD), wexmail::MT_GetHeaderTextFunction>);
static_assert(
    std::is_same_v<decltype(MT_GetMainHeadPosition), wexmail::MT_GetMainHeadPositionFunction>);
static_assert(std::is_same_v<decltype(MT_GetMainNext), wexmail::MT_GetMainNextFunction>);
static_assert(std::is_same_v<decltype(MT_GetAttachCount), wexmail::MT_GetAttachCountFunction>);
static_assert(std::is_same_v<decltype(MT_GetAttach), wexmail::MT_GetAttachFunction>);
static_assert(std::is_same_v<decltype(MT_GetPartD), wexmail::MT_GetPartDFunction>);

}  // namespace nimport::wexmail
