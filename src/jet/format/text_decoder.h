#ifndef NIMPORT_JET_FORMAT_TEXT_DECODER_H_
#define NIMPORT_JET_FORMAT_TEXT_DECODER_H_

#include <cstddef>
#include <span>
#include <string>

#include "jet/format/jet_layout.h"
#include "text/code_page_converter.h"

namespace nimport::jet {

// Turns the bytes of texts in the file into a code page. Plain ASCII of one byte a character, and
// Jet 3 text that is in that code page already, is only copied.
class TextDecoder {
 public:
  // `filePage` is the code page of Jet 3 text, `targetPage` that of the results. `converter` must
  // outlive the decoder.
  TextDecoder(TextForm form, unsigned filePage, unsigned targetPage,
              const text::CodePageConverter& converter)
      : form_(form), filePage_(filePage), targetPage_(targetPage), converter_(&converter) {}

  // A text or memo value. Throws DatabaseError, without a place, for a text that ends within a
  // character.
  [[nodiscard]] std::string Decode(std::span<const std::byte> stored) const;

  // A name in a definition: as a value, but never compressed.
  [[nodiscard]] std::string DecodeName(std::span<const std::byte> stored) const;

 private:
  [[nodiscard]] std::string FromCodePage(std::span<const std::byte> stored) const;
  [[nodiscard]] std::string FromUtf16(std::span<const std::byte> stored) const;
  [[nodiscard]] std::string FromCompressed(std::span<const std::byte> stored) const;
  template <typename Write>
  [[nodiscard]] std::string Convert(std::size_t maxUnits, Write write) const;

  TextForm form_;
  unsigned filePage_;
  unsigned targetPage_;
  const text::CodePageConverter* converter_;
};

}  // namespace nimport::jet

#endif  // NIMPORT_JET_FORMAT_TEXT_DECODER_H_
