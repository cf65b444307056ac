#ifndef NIMPORT_TEXT_JIS_CODE_H_
#define NIMPORT_TEXT_JIS_CODE_H_

#include "text/code_page_932.h"

namespace nimport::text {

// The place of a character in a JIS table: row and cell count from 1, as the standards print them.
struct JisPlace {
  unsigned row, cell;
};

// The rows that code page 932 has room for; the standard's own end at 94.
inline constexpr unsigned LAST_CODE_PAGE_932_ROW = 120;
inline constexpr unsigned LAST_JIS_CELL = 94;

// The code of a JIS X 0208 character or of an extension row; 0 when there is none.
[[nodiscard]] Code932 CodeFromJisX0208(JisPlace place);

// The character at a place of JIS X 0212, most of which code page 932 lacks; 0 when there is none.
[[nodiscard]] char16_t UnicodeFromJisX0212(JisPlace place);

}  // namespace nimport::text

#endif  // NIMPORT_TEXT_JIS_CODE_H_
