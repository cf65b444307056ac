// Mails of which pieces are replaced, while every other byte stays.
#ifndef NIMPORT_ARCHIVE_READABLE_MAIL_REWRITING_H_
#define NIMPORT_ARCHIVE_READABLE_MAIL_REWRITING_H_

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "archive/header_lines.h"
#include "mime/part.h"

namespace nimport::archive {

// How the header fields of a mail are read.
struct FieldReading {
  // Whether the field needs to be made anew.
  std::function<bool(const HeaderField& field)> isRewritten;
  // The field's value in UTF-8, without folds.
  std::function<std::string(const HeaderField& field)> toUtf8;
};

class MailRewriting {
 public:
  // `mail` outlives the object. What is put into it has the line ends of its first line.
  explicit MailRewriting(std::string_view mail);

  // Rewrites the header of a part where that is needed. With `text`, which is UTF-8, this takes the
  // place of the part's text, and the header says so. To be called once for a part, in the order
  // in which the parts begin.
  void RewritePart(const mime::Part& part, const FieldReading& reading,
                   const std::optional<std::string>& text);

  // A stretch of the mail with all that was replaced in it. It begins and ends within no piece that
  // was replaced.
  [[nodiscard]] std::string Apply(mime::TextRange range) const;

 private:
  struct Edit {
    mime::TextRange range;
    std::string text;
  };

  void Replace(mime::TextRange range, std::string text);
  void ReplaceContents(const mime::Part& part, std::string contents);
  void AddFields(const mime::Part& part, std::string fields);

  std::string_view mail_;
  bool hasLfOnly_;
  std::vector<Edit> edits_;  // in their order in the mail, none within another
};

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_READABLE_MAIL_REWRITING_H_
