#ifndef NIMPORT_PLUGIN_EXPORTS_RESULT_STRING_H_
#define NIMPORT_PLUGIN_EXPORTS_RESULT_STRING_H_

#include <string_view>

#include "nimport/nimport.h"
#include "text/code_page_converter.h"

namespace nimport::plugin {

// Where a text ends that has a NUL byte in it.
enum class TextEnd { AtFirstNul, AtItsLength };

// Fills the host's record with `text` (code page 932, by default taken up to its first NUL) in
// the encoding that the record asks for. The buffer is malloc'ed and released by the host through
// record->release. Throws Failure (-3) for a null record or an unknown encoding, which leaves
// `length` 0 and `buffer` null; std::bad_alloc.
void WriteResultString(ResultString* record, std::string_view text,
                       const text::CodePageConverter& converter, TextEnd end = TextEnd::AtFirstNul);

}  // namespace nimport::plugin

#endif  // NIMPORT_PLUGIN_EXPORTS_RESULT_STRING_H_
