#ifndef NIMPORT_ARCHIVE_JSON_TEXT_H_
#define NIMPORT_ARCHIVE_JSON_TEXT_H_

#include <string>
#include <string_view>

namespace nimport::archive {

// `text` as a JSON string, at the end of `json`. Control characters, line separators and what turns
// the direction of writing stand as escapes; what is no UTF-8 becomes U+FFFD. For files of a line a
// mail, where a general writer of JSON would take most of the time.
void AppendJsonString(std::string_view text, std::string& json);

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_JSON_TEXT_H_
