#ifndef NIMPORT_ARCHIVE_MAIL_CONTENTS_H_
#define NIMPORT_ARCHIVE_MAIL_CONTENTS_H_

#include <functional>
#include <string>
#include <string_view>

#include "host/mail.h"

namespace nimport::command {

// In which form a store holds a mail.
enum class ContentsKind {
  Text,        // the text alone; the headers are apart
  WholeMail,   // headers and text in one text of code page 932
  MimeMail,    // an internet mail, in whatever charsets it declares
  StoredFile,  // a file that was sent by itself; the headers are apart
};

struct MailContents {
  ContentsKind kind = ContentsKind::Text;
  std::string bytes;      // the text (code page 932, CR LF), the mail or the file
  std::string fileName;   // of a stored file; empty where it is not known
  std::string extension;  // of a stored file, with its dot; may be empty
  std::string missing;    // why the stored file is not there; empty when it is

  // Whether the bytes hold the mail's own header.
  [[nodiscard]] bool HasOwnHeader() const {
    return kind == ContentsKind::WholeMail || kind == ContentsKind::MimeMail;
  }
};

// What the store holds of a mail, in the form that loses nothing. Which form that is no function of
// the plug-in tells; it shows in how the sources of two sessions differ. `fresh` comes from a
// session that was never asked for a header or a date since the folder was opened. `asked` comes
// from one that was asked for those of other mails before; where that does not tell, `askHeaders`
// is called and must ask it for this mail's. Bodies were counted in neither. A mail without its
// stored file has contents all the same. Throws host::ResultError when there are none.
[[nodiscard]] MailContents ReadContents(const host::Mail& fresh, const host::Mail& asked,
                                        const std::function<void()>& askHeaders);

// Whether `text` begins with a header line.
[[nodiscard]] bool LooksLikeMail(std::string_view text);

}  // namespace nimport::command

#endif  // NIMPORT_ARCHIVE_MAIL_CONTENTS_H_
