#ifndef NIMPORT_TOOLS_JETWRITER_TEXT_ENCODER_H_
#define NIMPORT_TOOLS_JETWRITER_TEXT_ENCODER_H_

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "jetwriter/charset_encoder.h"

namespace nimport::jetwriter {

// Turns UTF-8 into text as a Jet file stores it: bytes of a code page (Jet 3), or UTF-16LE, which
// may be compressed (Jet 4). Not for several threads at once.
class TextEncoder {
 public:
  // UTF-16LE.
  [[nodiscard]] static TextEncoder ForUtf16() {
    return TextEncoder(CharsetEncoder("UTF-16LE"), true);
  }
  [[nodiscard]] static TextEncoder ForCodePage(unsigned codePage) {
    return TextEncoder(CharsetEncoder(codePage), false);
  }

  // Never compressed. Throws WriteError when a character has no place in the code page.
  [[nodiscard]] std::string Encode(std::string_view utf8) const { return encoder_->Encode(utf8); }

  // What Encode gave, in the shorter form that begins with FF FE, when it is UTF-16 and that form
  // saves space; empty otherwise.
  [[nodiscard]] std::optional<std::string> Compress(std::string_view encoded) const;

  // Whether readers would take `encoded` for compressed text although it is not.
  [[nodiscard]] bool LooksCompressed(std::string_view encoded) const;

 private:
  TextEncoder(CharsetEncoder encoder, bool isUtf16)
      : encoder_(std::make_unique<CharsetEncoder>(std::move(encoder))), isUtf16_(isUtf16) {}

  std::unique_ptr<CharsetEncoder> encoder_;
  bool isUtf16_;
};

}  // namespace nimport::jetwriter

#endif  // NIMPORT_TOOLS_JETWRITER_TEXT_ENCODER_H_
