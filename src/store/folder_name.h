#ifndef NIMPORT_STORE_FOLDER_NAME_H_
#define NIMPORT_STORE_FOLDER_NAME_H_

#include <string>
#include <string_view>

namespace nimport::store {

// The name of a cabinet or folder, in code page 932, as hosts get it: with "%5c", "%2f" and "%23"
// for the characters '\', '/' and '#', so that it can be part of a path. A '%' of the name's own
// stays as it is. At most 519 bytes; a longer result is cut at a whole character or escape.
[[nodiscard]] std::string EscapeFolderName(std::string_view name);

// The same of a name in UTF-8, as long as it gets.
[[nodiscard]] std::string EscapeUtf8FolderName(std::string_view name);

}  // namespace nimport::store

#endif  // NIMPORT_STORE_FOLDER_NAME_H_
