#ifndef NIMPORT_MIME_MAIL_H_
#define NIMPORT_MIME_MAIL_H_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "mime/part.h"
#include "mime/part_roles.h"
#include "wexmail/buffer.h"
#include "wexmail/part_lists.h"

namespace nimport::mime {

// One parsed mail with the answers to what is asked about it. It keeps the contents that it handed
// out, so that asking again decodes nothing. For one thread at a time.
class Mail {
 public:
  // Copies `text`; whatever it holds, it makes a mail.
  explicit Mail(std::string_view text);
  Mail(const Mail&) = delete;
  Mail& operator=(const Mail&) = delete;

  [[nodiscard]] const std::string& text() const { return text_; }

  // The decoded value of a field of the mail's header; empty when there is none.
  [[nodiscard]] std::string HeaderText(std::string_view fieldName) const;

  [[nodiscard]] const std::vector<Part>& parts() const { return parts_; }
  [[nodiscard]] const PartRoles& roles() const { return roles_; }

  // The part's name when it is saved: its file name, or one made up for an enclosed message or a
  // signature; else empty.
  [[nodiscard]] std::string SavedName(std::size_t partIndex) const;

  // The part's bytes without their transfer encoding; an enclosed message as it stands in the mail.
  [[nodiscard]] const Buffer& Bytes(std::size_t partIndex);

  // The part's contents as they are shown: text in code page 932, else its bytes.
  [[nodiscard]] const Buffer& ShownContents(std::size_t partIndex);

  // As PartLists::Find.
  [[nodiscard]] const std::vector<std::size_t>& FindParts(std::string_view contentType);

 private:
  std::string text_;
  std::vector<Part> parts_;
  std::vector<RecordedPart> recorded_;
  PartRoles roles_;
  std::optional<PartLists> lists_;  // made when they are asked for
  std::vector<Buffer> bytes_;       // by part; null until asked for
  std::vector<Buffer> shown_;
};

}  // namespace nimport::mime

#endif  // NIMPORT_MIME_MAIL_H_
