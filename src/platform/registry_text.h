// Registry files, in the forms in which people have them: exports of both kinds, and the files in
// which Wine keeps its registry.
#ifndef NIMPORT_PLATFORM_REGISTRY_TEXT_H_
#define NIMPORT_PLATFORM_REGISTRY_TEXT_H_

#include <optional>
#include <string>
#include <string_view>

#include "common/text_converter.h"
#include "platform/registry.h"

namespace nimport::platform {

// The value that is looked for. Names are code page 932; `key` has '\' between its parts.
struct RegistryQuery {
  RegistryHive hive{};
  std::string_view key;
  std::string_view valueName;
};

// Looks a string value up in a registry file: text, expandable text, the first of several texts, or
// binary data, which counts as text in code page 932. The last setting in the file holds. Empty
// when the file sets no such value, deletes it, is none of the known forms, or is broken where the
// value stands; also when the value takes more than 519 bytes. Answers the text up to its first
// NUL, in code page 932.
//
// The form tells its encoding: "REGEDIT4" is code page 932; "Windows Registry Editor Version 5.00"
// is UTF-16 where it begins with a byte order mark, else UTF-8, and a line that is no UTF-8 is
// taken for code page 932; Wine's form is UTF-8. The hive of a Wine file is named in its second
// line; a file without that line serves both.
[[nodiscard]] std::optional<std::string> FindRegistryString(std::string_view file,
                                                            const RegistryQuery& query,
                                                            const TextConverter& text);

}  // namespace nimport::platform

#endif  // NIMPORT_PLATFORM_REGISTRY_TEXT_H_
