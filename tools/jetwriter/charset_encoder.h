#ifndef NIMPORT_TOOLS_JETWRITER_CHARSET_ENCODER_H_
#define NIMPORT_TOOLS_JETWRITER_CHARSET_ENCODER_H_

#include <optional>
#include <string>
#include <string_view>

#include "text/system_charset.h"

namespace nimport::jetwriter {

// Turns UTF-8 into another character set. Not for several threads at once.
class CharsetEncoder {
 public:
  // `charset` as text::SystemCharset has it, or "UTF-16LE". Throws WriteError when there is none of
  // that name.
  explicit CharsetEncoder(const std::string& charset);

  // Of a Windows code page.
  explicit CharsetEncoder(unsigned codePage);

  // Ends in the character set's initial state (ISO-2022-JP goes back to ASCII). Throws WriteError
  // naming the character that the set lacks, or the byte where `utf8` is damaged.
  [[nodiscard]] std::string Encode(std::string_view utf8);

 private:
  std::string charset_;
  std::optional<text::SystemCharset> system_;  // none for UTF-16LE and UTF-8
};

// UTF-16LE, as bytes. Throws WriteError naming the byte where `utf8` is damaged.
[[nodiscard]] std::string EncodeUtf16(std::string_view utf8);

}  // namespace nimport::jetwriter

#endif  // NIMPORT_TOOLS_JETWRITER_CHARSET_ENCODER_H_
