#ifndef NIMPORT_TOOLS_JETWRITER_TEXT_ENCODER_H_
#define NIMPORT_TOOLS_JETWRITER_TEXT_ENCODER_H_

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "text/system_charset.h"

namespace nimport::jetwriter {

// Turns UTF-8 into another character set. Texts of a Jet file are bytes of a code page (Jet 3), or
// UTF-16LE, which may be compressed (Jet 4). Not for several threads at once.
class TextEncoder {
 public:
  // `charset` as text::SystemCharset has it. Throws WriteError when there is none of that name.
  explicit TextEncoder(const std::string& charset);
  // UTF-16LE.
  [[nodiscard]] static TextEncoder ForUtf16() { return TextEncoder("UTF-16LE"); }
  [[nodiscard]] static TextEncoder ForCodePage(unsigned codePage);

  // Never compressed. Ends in the character set's initial state (ISO-2022-JP goes back to ASCII).
  // Throws WriteError naming the character that the set lacks, or the byte where `utf8` is damaged.
  [[nodiscard]] std::string Encode(std::string_view utf8) const;

  // What Encode gave, in the shorter form that begins with FF FE, when it is UTF-16 and that form
  // saves space; empty otherwise.
  [[nodiscard]] std::optional<std::string> Compress(std::string_view encoded) const;

  // Whether readers would take `encoded` for compressed text although it is not.
  [[nodiscard]] bool LooksCompressed(std::string_view encoded) const;

 private:
  std::string charset_;
  std::unique_ptr<text::SystemCharset> system_;  // none for UTF-16LE and UTF-8
};

}  // namespace nimport::jetwriter

#endif  // NIMPORT_TOOLS_JETWRITER_TEXT_ENCODER_H_
