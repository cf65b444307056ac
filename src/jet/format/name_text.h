#ifndef NIMPORT_JET_FORMAT_NAME_TEXT_H_
#define NIMPORT_JET_FORMAT_NAME_TEXT_H_

#include <string>
#include <string_view>

#include "text/code_page_converter.h"

namespace nimport::jet {

// Names between UTF-8, in which the engine keeps them, and the code page of a database's texts.
[[nodiscard]] std::string ToUtf8(std::string_view name, unsigned codePage,
                                 const text::CodePageConverter& converter);
[[nodiscard]] std::string FromUtf8(std::string_view name, unsigned codePage,
                                   const text::CodePageConverter& converter);

}  // namespace nimport::jet

#endif  // NIMPORT_JET_FORMAT_NAME_TEXT_H_
