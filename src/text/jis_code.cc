#include "text/jis_code.h"

#include <array>
#include <optional>
#include <string>

#include "text/system_charset.h"

namespace nimport::text {
namespace {

constexpr unsigned ROWS_0212 = 94;

bool IsInTable(JisPlace place, unsigned lastRow) {
  return place.row >= 1 && place.row <= lastRow && place.cell >= 1 && place.cell <= LAST_JIS_CELL;
}

// The characters of JIS X 0212 by row and cell.
class Table0212 {
 public:
  Table0212() {
    // The first name knows the rows that IBM's kanji got there, too.
    std::optional<SystemCharset> charset = SystemCharset::Open("EUC-JP-MS");
    if (!charset) charset = SystemCharset::Open("EUC-JP");
    if (!charset) return;
    for (unsigned row = 1; row <= ROWS_0212; ++row) {
      for (unsigned cell = 1; cell <= LAST_JIS_CELL; ++cell)
        Add({row, cell}, *charset);
    }
  }
  [[nodiscard]] char16_t At(JisPlace place) const { return characters_[Index(place)]; }

 private:
  static std::size_t Index(JisPlace place) {
    return (place.row - 1) * LAST_JIS_CELL + place.cell - 1;
  }

  void Add(JisPlace place, SystemCharset& charset) {
    const char euc[] = {'\x8F', static_cast<char>(0xA0 + place.row),
                        static_cast<char>(0xA0 + place.cell)};
    const std::optional<std::u16string> character = charset.DecodeStrict({euc, sizeof(euc)});
    if (character && character->size() == 1) characters_[Index(place)] = character->front();
  }

  std::array<char16_t, ROWS_0212 * LAST_JIS_CELL> characters_{};
};

}  // namespace

Code932 CodeFromJisX0208(JisPlace place) {
  if (!IsInTable(place, LAST_CODE_PAGE_932_ROW)) return 0;
  // Two rows share a lead byte: the odd one takes the lower trail bytes, in which 0x7F is left out.
  const unsigned pairOfRows = (place.row - 1) / 2;
  const unsigned lead = pairOfRows + (pairOfRows < 31 ? 0x81 : 0xC1);
  const bool isUpperHalf = place.row % 2 == 0;
  const unsigned lowerTrail = place.cell + (place.cell < 64 ? 0x3F : 0x40);
  const unsigned trail = isUpperHalf ? place.cell + 0x9E : lowerTrail;
  return PreferredCode932(static_cast<Code932>(lead << 8 | trail));
}

char16_t UnicodeFromJisX0212(JisPlace place) {
  static const Table0212 table;
  return IsInTable(place, ROWS_0212) ? table.At(place) : char16_t{0};
}

}  // namespace nimport::text
