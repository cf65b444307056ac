// The MIME library as its callers see it, with owned answers.
#ifndef NIMPORT_TESTS_WEXMAIL_LIBRARY_H_
#define NIMPORT_TESTS_WEXMAIL_LIBRARY_H_

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "wexmail/entry_points.h"

extern "C" {
nimport::wexmail::MT_InitFunction MT_Init;
nimport::wexmail::MT_TermFunction MT_Term;
nimport::wexmail::MT_FreeFunction MT_Free;
nimport::wexmail::MT_ParseMailTextFunction MT_ParseMailText;
nimport::wexmail::MT_GetHeaderTextFunction MT_GetSubjectD;
nimport::wexmail::MT_GetHeaderTextFunction MT_GetFromD;
nimport::wexmail::MT_GetHeaderTextFunction MT_GetToD;
nimport::wexmail::MT_GetHeaderTextFunction MT_GetMessageIDD;
nimport::wexmail::MT_GetHeaderTextFunction MT_GetSendDateD;
nimport::wexmail::MT_GetMainHeadPositionFunction MT_GetMainHeadPosition;
nimport::wexmail::MT_GetMainNextFunction MT_GetMainNext;
nimport::wexmail::MT_GetAttachCountFunction MT_GetAttachCount;
nimport::wexmail::MT_GetAttachFunction MT_GetAttach;
nimport::wexmail::MT_GetPartDFunction MT_GetPartD;
}

namespace nimport::mime {

struct MainPart {
  std::string type, contents;
  bool operator==(const MainPart&) const = default;
};

struct Attachment {
  std::string type, fileName, contents;
  bool operator==(const Attachment&) const = default;
};

struct FoundPart {
  std::string header, body;
};

void PrintTo(const MainPart& part, std::ostream* out);
void PrintTo(const Attachment& attachment, std::ostream* out);

// One library session.
class Library {
 public:
  Library() : session_(MT_Init()) {}
  ~Library() { MT_Term(session_); }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  [[nodiscard]] std::int32_t session() const { return session_; }
  [[nodiscard]] std::int32_t Parse(const std::string& mail) const;
  // Nothing when the function answers other than 1.
  [[nodiscard]] std::optional<std::string> HeaderText(
      wexmail::MT_GetHeaderTextFunction* function) const;
  [[nodiscard]] std::vector<MainPart> Mains() const;
  [[nodiscard]] std::vector<Attachment> Attachments() const;
  [[nodiscard]] std::vector<FoundPart> Parts(const std::string& contentType) const;

 private:
  std::int32_t session_;
};

// `text` with CR LF for every LF: how a mail reaches the library.
std::string Crlf(std::string_view text);

// UTF-8 in code page 932 by the C library's own converter.
std::string Cp932(std::string_view utf8);

}  // namespace nimport::mime

#endif  // NIMPORT_TESTS_WEXMAIL_LIBRARY_H_
