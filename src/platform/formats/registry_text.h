// Registry files, in the forms in which people have them: exports of both kinds, and the files in
// which Wine keeps its registry.
#ifndef NIMPORT_PLATFORM_FORMATS_REGISTRY_TEXT_H_
#define NIMPORT_PLATFORM_FORMATS_REGISTRY_TEXT_H_

#include <optional>
#include <string>
#include <string_view>

#include "platform/registry.h"
#include "text/code_page_converter.h"

namespace nimport::platform {

// The value that is looked for. Names are code page 932; `key` has '\' between its parts.
struct RegistryQuery {
  RegistryHive hive{};
  std::string_view key;
  std::string_view valueName;
};

// Looks a value of any type up in a registry file: text of all types in code page 932, of other
// types the bytes as they are, a number's lowest one first. The last setting in the file holds.
// Answers the value up to its first NUL; empty when the file sets no such value, deletes it, is
// none of the known forms, or is cut before the value's name ends. Throws UnusableValue when the
// value itself is cut or broken, or takes more than 519 bytes.
//
// The form tells its encoding: "REGEDIT4" is code page 932; "Windows Registry Editor Version 5.00"
// is UTF-16 where it begins with a byte order mark, else UTF-8, and a line that is no UTF-8 is
// taken for code page 932; Wine's form is UTF-8. The hive of a Wine file is named in its second
// line; a file without that line serves both.
[[nodiscard]] std::optional<std::string> FindRegistryString(std::string_view file,
                                                            const RegistryQuery& query,
                                                            const text::CodePageConverter& text);

}  // namespace nimport::platform

#endif  // NIMPORT_PLATFORM_FORMATS_REGISTRY_TEXT_H_
