#include "text/charset_label.h"

#include <algorithm>
#include <array>
#include <bitset>
#include <cstddef>
#include <optional>
#include <string>

#include "text/ascii.h"
#include "text/charset.h"
#include "text/code_page_932.h"
#include "text/jis_code.h"
#include "text/system_charset.h"
#include "text/utf16.h"

namespace nimport::text {
namespace {

constexpr char ESCAPE = '\x1B';

// The letters of JIS X 0208 itself, by row and cell. Code page 932 has more in the rows between and
// after them: NEC's and IBM's.
class StandardLetters {
 public:
  StandardLetters() {
    for (unsigned row = 1; row <= LAST_ROW; ++row) {
      if (row > LAST_SIGN_ROW && row < FIRST_KANJI_ROW) continue;
      for (unsigned cell = 1; cell <= LAST_JIS_CELL; ++cell)
        letters_[IndexOf({row, cell})] = CodeFromJisX0208({row, cell}) != 0;
    }
  }

  [[nodiscard]] static bool Has(JisPlace place) {
    static const StandardLetters standard;
    const bool isInTable =
        place.row >= 1 && place.row <= LAST_ROW && place.cell >= 1 && place.cell <= LAST_JIS_CELL;
    return isInTable && standard.letters_[IndexOf(place)];
  }

 private:
  static constexpr unsigned LAST_SIGN_ROW = 8;
  static constexpr unsigned FIRST_KANJI_ROW = 16;
  static constexpr unsigned LAST_ROW = 84;

  static std::size_t IndexOf(JisPlace place) {
    return (place.row - 1) * std::size_t{LAST_JIS_CELL} + place.cell - 1;
  }

  std::bitset<LAST_ROW * LAST_JIS_CELL> letters_;
};

unsigned ByteAt(std::string_view bytes, std::size_t position) {
  return position < bytes.size() ? static_cast<unsigned char>(bytes[position]) : 0;
}

// As RFC 1468 has it: ASCII or JIS X 0201 Roman, JIS X 0208, and no line end within the latter.
bool IsStandardIso2022Jp(std::string_view bytes) {
  bool isDouble = false;
  for (std::size_t i = 0; i < bytes.size();) {
    if (bytes[i] == ESCAPE) {
      const std::string_view sequence = bytes.substr(i + 1, 2);
      isDouble = sequence == "$B" || sequence == "$@";
      if (!isDouble && sequence != "(B" && sequence != "(J") return false;
      i += 1 + sequence.size();
    } else if (isDouble) {
      // Both bytes are 0x21 to 0x7E; anything else is no place in the table.
      const JisPlace place{ByteAt(bytes, i) - 0x20, ByteAt(bytes, i + 1) - 0x20};
      if (!StandardLetters::Has(place)) return false;
      i += 2;
    } else if (!IsAscii(bytes[i])) {
      return false;
    } else {
      ++i;
    }
  }
  return true;
}

// Whether no pair of Shift_JIS lies beyond JIS X 0208. Damaged bytes count as nothing.
bool IsStandardShiftJis(std::string_view bytes) {
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const unsigned lead = ByteAt(bytes, i);
    if (!IsLeadByte(static_cast<unsigned char>(lead))) continue;
    const unsigned trail = ByteAt(bytes, i + 1);
    if (trail < 0x40 || trail == 0x7F || trail > 0xFC) continue;
    const unsigned pairOfRows = lead - (lead < 0xA0 ? 0x81 : 0xC1);
    const bool isUpperHalf = trail >= 0x9F;
    const unsigned lowerCell = trail - (trail < 0x7F ? 0x3F : 0x40);
    const JisPlace place{pairOfRows * 2 + (isUpperHalf ? 2 : 1),
                         isUpperHalf ? trail - 0x9E : lowerCell};
    if (!StandardLetters::Has(place)) return false;
    ++i;
  }
  return true;
}

bool IsStandardEucJp(std::string_view bytes) {
  constexpr unsigned SINGLE_SHIFT_2 = 0x8E;  // one byte of katakana follows
  constexpr unsigned SINGLE_SHIFT_3 = 0x8F;  // two bytes of JIS X 0212 follow
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const unsigned lead = ByteAt(bytes, i);
    const unsigned trail = ByteAt(bytes, i + 1);
    if (lead == SINGLE_SHIFT_2) i += 1;
    if (lead == SINGLE_SHIFT_3) i += 2;
    if (lead < 0xA1 || trail < 0xA1) continue;
    if (!StandardLetters::Has({lead - 0xA0, trail - 0xA0})) return false;
    ++i;
  }
  return true;
}

// GB 2312 itself: not its supersets' pairs beside its rows, nor those that they added within them.
bool IsStandardGb2312(std::string_view bytes) {
  constexpr unsigned ADDED[][2] = {{0xA2A1, 0xA2AA}, {0xA6E0, 0xA6F5}, {0xA8BB, 0xA8C0}};
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const unsigned lead = ByteAt(bytes, i);
    if (IsAscii(bytes[i])) continue;
    const unsigned trail = ByteAt(bytes, ++i);
    const unsigned pair = lead << 8 | trail;
    const bool isInRows = (lead >= 0xA1 && lead <= 0xA9) || (lead >= 0xB0 && lead <= 0xF7);
    const bool isAdded = std::ranges::any_of(
        ADDED, [&](const auto& range) { return pair >= range[0] && pair <= range[1]; });
    if (!isInRows || trail < 0xA1 || isAdded) return false;
  }
  return true;
}

bool IsUtf8Name(std::string_view name) {
  return name == "utf-8" || name == "utf8";
}

struct Standard {
  std::string_view name;  // that every program knows, in lower case
  bool (*isStandard)(std::string_view bytes);
};

// Where FollowsLabel has found out all there is.
bool IsAlwaysStandard(std::string_view /*bytes*/) {
  return true;
}

constexpr std::array STANDARDS = std::to_array<Standard>({
    {"", IsAlwaysStandard},
    {"us-ascii", IsAlwaysStandard},
    {"iso-2022-jp", IsStandardIso2022Jp},
    {"csiso2022jp", IsStandardIso2022Jp},
    {"shift_jis", IsStandardShiftJis},
    {"shift-jis", IsStandardShiftJis},
    {"sjis", IsStandardShiftJis},
    {"csshiftjis", IsStandardShiftJis},
    {"euc-jp", IsStandardEucJp},
    {"gb2312", IsStandardGb2312},
    // Microsoft's own name for its own letters.
    {"windows-31j", IsAlwaysStandard},
});

// Whether the system, which knows charsets by the letter, reads what we read.
bool IsReadBySystem(std::string_view bytes, const std::string& charset) {
  std::optional<SystemCharset> system = SystemCharset::Open(charset);
  if (!system) return false;
  const std::optional<std::u16string> text = system->DecodeStrict(bytes);
  return text && Utf8FromUtf16(*text) == ToUtf8(bytes, charset);
}

}  // namespace

LabelTruth JudgeLabel(std::string_view bytes, std::string_view charset) {
  if (IsAscii(bytes) && bytes.find(ESCAPE) == std::string_view::npos) return LabelTruth::True;
  if (!FollowsLabel(bytes, charset)) return LabelTruth::False;
  // A language may follow the name.
  const std::string name = AsciiLower(Trim(charset.substr(0, charset.find('*'))));
  if (IsUtf8Name(name)) return LabelTruth::True;
  for (const Standard& standard : STANDARDS) {
    if (standard.name == name) {
      return standard.isStandard(bytes) ? LabelTruth::True : LabelTruth::Loose;
    }
  }
  return IsReadBySystem(bytes, name) ? LabelTruth::True : LabelTruth::Loose;
}

}  // namespace nimport::text
