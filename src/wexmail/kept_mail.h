#ifndef NIMPORT_WEXMAIL_KEPT_MAIL_H_
#define NIMPORT_WEXMAIL_KEPT_MAIL_H_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "mime/mail.h"
#include "wexmail/buffer.h"
#include "wexmail/part_lists.h"

namespace nimport::wexmail {

// A session's mail in code page 932. It keeps the contents that it handed out, so that asking again
// decodes nothing. For one thread at a time.
class KeptMail {
 public:
  // Copies `text`.
  explicit KeptMail(std::string_view text)
      : mail_(std::string(text), mime::TextForm::CodePage932),
        bytes_(mail_.parts().size()),
        shown_(mail_.parts().size()) {}
  KeptMail(const KeptMail&) = delete;
  KeptMail& operator=(const KeptMail&) = delete;

  [[nodiscard]] const mime::Mail& mail() const { return mail_; }

  // The part's bytes without their transfer encoding; an enclosed message as it stands in the mail.
  [[nodiscard]] const Buffer& Bytes(std::size_t partIndex);

  // The part's contents as they are shown: text in code page 932, else its bytes.
  [[nodiscard]] const Buffer& ShownContents(std::size_t partIndex);

  // As PartLists::Find.
  [[nodiscard]] const std::vector<std::size_t>& FindParts(std::string_view contentType);

 private:
  mime::Mail mail_;
  std::optional<PartLists> lists_;  // made when they are asked for
  std::vector<Buffer> bytes_;       // by part; null until asked for
  std::vector<Buffer> shown_;
};

}  // namespace nimport::wexmail

#endif  // NIMPORT_WEXMAIL_KEPT_MAIL_H_
