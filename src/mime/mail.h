#ifndef NIMPORT_MIME_MAIL_H_
#define NIMPORT_MIME_MAIL_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "mime/part.h"
#include "mime/part_roles.h"
#include "mime/recorded_parts.h"
#include "mime/text_form.h"
#include "mime/transfer_encoding.h"

namespace nimport::mime {

// A mail with its parts and what they are to a reader. It keeps the mail's bytes as they are,
// except that in a mail without any LF each CR becomes one; and decodes what it is asked for:
// memory is that of the bytes, some 300 bytes a part, and the answer.
class Mail {
 public:
  // Takes the bytes over; whatever they are, they make a mail. Decoded texts have `form`.
  explicit Mail(std::string text, TextForm form = TextForm::Utf8);

  [[nodiscard]] const std::string& text() const { return text_; }
  // Gives the bytes back; the object is of no use after that.
  [[nodiscard]] std::string TakeText() && { return std::move(text_); }

  // The decoded value of a field of the mail's header, as DecodeField; empty when there is none.
  [[nodiscard]] std::string HeaderText(std::string_view fieldName) const;

  // The mail itself first, then the parts in the order in which they begin.
  [[nodiscard]] const std::vector<Part>& parts() const { return parts_; }
  [[nodiscard]] const PartRoles& roles() const { return roles_; }
  [[nodiscard]] const std::vector<RecordedPart>& recordedParts() const { return recordedParts_; }

  // The part's name when it is saved: its file name, or one made up for an enclosed message or a
  // signature; else empty.
  [[nodiscard]] std::string SavedName(std::size_t partIndex) const;

  // Whether the part's contents are shown as text.
  [[nodiscard]] bool IsText(std::size_t partIndex) const;

  // The contents of a text part, decoded. Damage becomes what charset.h says.
  [[nodiscard]] std::string Text(std::size_t partIndex) const;

  // Reads the part's bytes without their transfer encoding, piece by piece; an enclosed message as
  // it stands in the mail, which outlives the decoder.
  [[nodiscard]] TransferDecoder Contents(std::size_t partIndex) const;

 private:
  std::string text_;
  TextForm form_;
  std::vector<Part> parts_;
  std::vector<RecordedPart> recordedParts_;
  PartRoles roles_;
};

}  // namespace nimport::mime

#endif  // NIMPORT_MIME_MAIL_H_
