// What a session remembers of the mails that it was asked for last.
#ifndef NIMPORT_PLUGIN_MAILS_REMEMBERED_MAIL_H_
#define NIMPORT_PLUGIN_MAILS_REMEMBERED_MAIL_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "plugin/mime_library/mime_session.h"
#include "text/fixed_text.h"

namespace nimport::plugin {

// A part that the body of a mail refers to, such as a picture.
struct RelatedPart {
  // The number of earlier related parts of the same mail with the same content type.
  std::int32_t occurrence = 0;
  text::ValueText contentType;  // for example image/gif
};

// The header values last read from columns in the open folder, each perhaps of another mail: a
// mail's source is composed from them.
struct CurrentMail {
  text::ValueText subject;
  text::ValueText from;
  text::ValueText to;
  text::ValueText messageId;
  std::int32_t date = 0;  // seconds since 1970-01-01 00:00:00; 0 is none
  text::ValueText contentType;
  std::string composedHeader;  // the header block that was composed last
};

// The library's answer about the parts of one content type.
struct PartsOfType {
  Parts parts;
  std::vector<std::int32_t> related;  // indexes of those that are no attachments
};

// The library's answers about the mail that it has parsed. It gives all parts of a kind at once, so
// each answer is kept: a mail is gone through once, however many of its parts are asked for.
struct MimeAnswers {
  std::optional<Attachments> attachments;
  std::unordered_map<std::string, PartsOfType> partsByType;
  std::size_t partCount = 0;  // in all of partsByType
};

// What the header lines of a MIME file say about the mail as a whole.
struct MimeFileFacts {
  struct ContainerExtension {
    std::string text = {};
    const char* fault = nullptr;  // why there is none; null when there is
  };
  // The first "Content-Type" line of the text; the inner one is empty when there is none.
  std::optional<std::optional<text::ValueText>> topContentType;
  // The extension of an S/MIME container's file name.
  std::optional<ContainerExtension> containerExtension;
};

// What a session knows of the MIME file that it was asked about last.
struct RememberedMimeFile {
  std::string path;                          // Windows path; empty for none
  std::optional<std::uint64_t> changeStamp;  // empty where the system cannot tell changes
  std::optional<std::string> text;           // with line ends CR LF
  bool isParsed = false;                     // whether it is the MIME library's current mail
  MimeFileFacts facts;
  MimeAnswers answers;  // while it is
};

}  // namespace nimport::plugin

#endif  // NIMPORT_PLUGIN_MAILS_REMEMBERED_MAIL_H_
