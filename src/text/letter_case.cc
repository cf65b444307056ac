#include "text/letter_case.h"

#include <algorithm>
#include <cstdint>

namespace nimport::text {
namespace {

// Capital letters whose small ones lie at a fixed distance. `step` 2 means that capitals and small
// letters take turns, beginning with a capital.
struct CaseRange {
  char16_t first;
  char16_t last;
  char16_t distance;
  char16_t step;
};

constexpr CaseRange CASE_RANGES[] = {
    {u'A', u'Z', 32, 1},     {0x00C0, 0x00D6, 32, 1}, {0x00D8, 0x00DE, 32, 1},
    {0x0100, 0x012E, 1, 2},  {0x0132, 0x0136, 1, 2},  {0x0139, 0x0147, 1, 2},
    {0x014A, 0x0176, 1, 2},  {0x0179, 0x017D, 1, 2},  {0x01CD, 0x01DB, 1, 2},
    {0x01DE, 0x01EE, 1, 2},  {0x01F8, 0x021E, 1, 2},  {0x0222, 0x0232, 1, 2},
    {0x0386, 0x0386, 38, 1}, {0x0388, 0x038A, 37, 1}, {0x038C, 0x038C, 64, 1},
    {0x038E, 0x038F, 63, 1}, {0x0391, 0x03A1, 32, 1}, {0x03A3, 0x03AB, 32, 1},
    {0x0400, 0x040F, 80, 1}, {0x0410, 0x042F, 32, 1}, {0x0460, 0x0480, 1, 2},
    {0x048A, 0x04BE, 1, 2},  {0x04C1, 0x04CD, 1, 2},  {0x04D0, 0x052E, 1, 2},
    {0x0531, 0x0556, 48, 1}, {0x1E00, 0x1E94, 1, 2},  {0x1EA0, 0x1EFE, 1, 2},
    {0x2160, 0x216F, 16, 1}, {0x24B6, 0x24CF, 26, 1}, {0xFF21, 0xFF3A, 32, 1},
};

char16_t FoldUnit(char16_t unit) {
  for (const CaseRange& range : CASE_RANGES) {
    if (unit < range.first) break;
    if (unit <= range.last && (unit - range.first) % range.step == 0) {
      return static_cast<char16_t>(unit + range.distance);
    }
  }
  return unit;
}

}  // namespace

std::u16string FoldCase(std::u16string_view text) {
  std::u16string folded(text);
  std::transform(folded.begin(), folded.end(), folded.begin(), FoldUnit);
  return folded;
}

}  // namespace nimport::text
