#ifndef NIMPORT_TEXT_SYSTEM_TEXT_H_
#define NIMPORT_TEXT_SYSTEM_TEXT_H_

#include "text/text_converter.h"

namespace nimport::platform {

// Code pages as the system knows them. A code page that it lacks counts as CODE_PAGE_WESTERN with
// ASCII alone.
class SystemText final : public TextConverter {
 public:
  [[nodiscard]] std::string FromUtf16(std::u16string_view text, unsigned codePage) const override;
  [[nodiscard]] std::u16string ToUtf16(std::string_view bytes, unsigned codePage) const override;
  [[nodiscard]] std::optional<std::u16string> ToUtf16Strict(std::string_view bytes,
                                                            unsigned codePage) const override;
};

}  // namespace nimport::platform

#endif  // NIMPORT_TEXT_SYSTEM_TEXT_H_
