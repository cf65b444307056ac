// The MIME files of mails. A host asks for one piece of a mail after the other, so the file that
// was read last is remembered: as long as it is unchanged it is neither read nor parsed again.
#ifndef NIMPORT_PLUGIN_MAILS_MIME_FILE_H_
#define NIMPORT_PLUGIN_MAILS_MIME_FILE_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "plugin/mails/mail_row.h"
#include "plugin/mails/mail_store.h"

namespace nimport::plugin {

// A longer text is read again by every call that needs it, rather than kept between calls.
inline constexpr std::size_t MAX_REMEMBERED_TEXT = std::size_t{16} << 20;

// The MIME file of one mail, for the time of one call.
class MimeFile {
 public:
  // Throws Failure (-3) when the row names no file, its name or path is too long, or the file is
  // missing. `store` must outlive the object.
  MimeFile(MailStore& store, const MailRow& row);
  ~MimeFile();
  MimeFile(const MimeFile&) = delete;
  MimeFile& operator=(const MimeFile&) = delete;

  // The file's text with line ends CR LF; lives as long as this object. Throws Failure (-2) when
  // the file cannot be read into memory.
  [[nodiscard]] const std::string& Text();

  // The same for a caller that keeps it. A text too long to be remembered is not held twice.
  [[nodiscard]] std::string TakeText();

  // Makes the file the current mail of the MIME library, and returns the library's result:
  // MIME_SUCCESS when it could be parsed. Throws as Text does.
  [[nodiscard]] std::int32_t Parse();

  // As Parse, but throws Failure (-3) when the library cannot parse the text. A text too long to be
  // remembered is let go: the library has its own.
  void RequireParsed();

 private:
  [[nodiscard]] std::string Read() const;
  [[nodiscard]] bool IsTooLongToRemember() const;
  void ForgetLongText();

  MailStore& store_;
  platform::StoredPath path_;
};

}  // namespace nimport::plugin

#endif  // NIMPORT_PLUGIN_MAILS_MIME_FILE_H_
