#include "text/code_page_table.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <map>
#include <mutex>
#include <optional>
#include <utility>

#include "common/library_lifetime.h"
#include "text/ascii.h"
#include "text/code_page_converter.h"
#include "text/utf16.h"

namespace nimport::text {

struct CodePageForm {
  struct Range {
    unsigned char first = 1;
    unsigned char last = 0;
  };

  unsigned number = 0;           // Windows code page
  std::array<Range, 2> leads{};  // bytes that begin a double-byte character; empty ranges if none
  char16_t damaged = REPLACEMENT_CHARACTER;  // stands for a damaged sequence

  [[nodiscard]] constexpr bool IsLead(unsigned char byte) const {
    for (const Range& range : leads) {
      if (byte >= range.first && byte <= range.last) return true;
    }
    return false;
  }
  [[nodiscard]] constexpr bool IsDoubleByte() const { return leads[0].first <= leads[0].last; }
};

namespace {

using Range = CodePageForm::Range;

constexpr char16_t NO_CHARACTER = 0xFFFF;

constexpr std::array<Range, 2> JAPANESE_LEADS{Range{0x81, 0x9F}, Range{0xE0, 0xFC}};
constexpr std::array<Range, 2> EAST_ASIAN_LEADS{Range{0x81, 0xFE}, Range{}};

constexpr CodePageForm FORMS[] = {
    {.number = CODE_PAGE_WESTERN},
    {.number = CODE_PAGE_JAPANESE, .leads = JAPANESE_LEADS, .damaged = u'\u30FB'},
    {.number = 437},
    {.number = 850},
    {.number = 852},
    {.number = 866},
    {.number = 874},
    {.number = 936, .leads = EAST_ASIAN_LEADS},
    {.number = 949, .leads = EAST_ASIAN_LEADS},
    {.number = 950, .leads = EAST_ASIAN_LEADS},
    {.number = 1250},
    {.number = 1251},
    {.number = 1253},
    {.number = 1254},
    {.number = 1255},
    {.number = 1256},
    {.number = 1257},
    {.number = 1258},
};

// Code page 932 has these single bytes, which iconv does not know.
constexpr std::pair<unsigned char, char16_t> JAPANESE_SINGLES[] = {
    {0x80, u'\x0080'}, {0xA0, u'\x00A0'}, {0xFD, u'\xF8F1'}, {0xFE, u'\xF8F2'}, {0xFF, u'\xF8F3'}};

// Characters of other Japanese character sets that stand for the same sign. They are met where text
// came from a system that reads JIS the other way; the way back gives Microsoft's choice.
constexpr std::pair<char16_t, std::uint16_t> JAPANESE_ONE_WAY[] = {
    {u'\u00A2', 0x8191}, {u'\u00A3', 0x8192}, {u'\u00A5', 0x5C},   {u'\u00AC', 0x81CA},
    {u'\u00A6', 0xFA55}, {u'\u2014', 0x815C}, {u'\u2016', 0x8161}, {u'\u203E', 0x7E},
    {u'\u2212', 0x817C}, {u'\u301C', 0x8160}};

constexpr unsigned char ToByte(char c) {
  return static_cast<unsigned char>(c);
}

// Whether a double-byte character may end with `byte`, in any of the code pages.
constexpr bool LooksLikeSecondByte(unsigned char byte) {
  return byte >= 0x40 && byte != 0x7F && byte != 0xFF;
}

// How many units are looked at in one word.
constexpr int UNITS_AT_ONCE = 4;

// Whether one of UNITS_AT_ONCE units is the first half of a pair.
bool HoldHighSurrogate(const char16_t* units) {
  constexpr std::uint64_t EACH = 0x0001'0001'0001'0001;
  std::uint64_t word = 0;
  std::memcpy(&word, units, sizeof word);
  // A unit that is one becomes zero, and no other; taking 1 from zero sets its highest bit.
  const std::uint64_t difference = (word & 0xFC00 * EACH) ^ 0xD800 * EACH;
  return ((difference - EACH) & ~difference & 0x8000 * EACH) != 0;
}

const CodePageForm& FindForm(unsigned codePage) {
  const auto* found = std::ranges::find(FORMS, codePage, &CodePageForm::number);
  return found == std::end(FORMS) ? FORMS[0] : *found;
}

// The unit of a character of one or two bytes; empty when there is none.
std::optional<char16_t> DecodeUnit(SystemCharset& charset, std::string_view character) {
  const std::optional<std::u16string> units = charset.DecodeStrict(character);
  if (!units || units->size() != 1) return std::nullopt;
  return units->front();
}

const CodePageTable& MakeTable(const CodePageForm& form) {
  std::optional<SystemCharset> charset = SystemCharset::Open("CP" + std::to_string(form.number));
  return MakeForLibrary<CodePageTable>(form, charset ? &*charset : nullptr);
}

struct Tables {
  std::mutex mutex;
  std::map<unsigned, const CodePageTable*> byNumber;
};

}  // namespace

const CodePageTable& CodePageTable::Of(unsigned codePage) {
  if (codePage == CODE_PAGE_JAPANESE) {
    static const CodePageTable& japanese = MakeTable(FindForm(CODE_PAGE_JAPANESE));
    return japanese;
  }
  const CodePageForm& form = FindForm(codePage);
  static auto& tables = MakeForLibrary<Tables>();
  const std::lock_guard lock(tables.mutex);
  const CodePageTable*& table = tables.byNumber[form.number];
  if (table == nullptr) table = &MakeTable(form);
  return *table;
}

CodePageTable::CodePageTable(const CodePageForm& form, SystemCharset* charset)
    : form_(form), encoded_(0x10000) {
  singles_.fill(NO_CHARACTER);
  if (form_.IsDoubleByte()) pairs_.assign(0x10000, NO_CHARACTER);
  if (charset != nullptr) {
    AddSingles(*charset);
    if (form_.IsDoubleByte()) AddPairs(*charset);
    AddOneWayCharacters();
  }
  // What has no counterpart; a NUL stays one.
  for (std::size_t unit = 1; unit < encoded_.size(); ++unit) {
    if (encoded_[unit].IsMissing()) encoded_[unit] = Encoded::FromCode('?');
  }
}

// Where several codes stand for one character, the system knows which of them to write.
void CodePageTable::Add(unsigned code, char16_t unit, SystemCharset& charset) {
  if (unit == 0 || !encoded_[unit].IsMissing()) return;
  std::size_t missing = 0;
  const auto preferred = charset.Encode({&unit, 1}, missing);
  const bool isUsable = preferred && !preferred->empty() && preferred->size() <= 2;
  encoded_[unit] = isUsable ? Encoded::FromBytes(*preferred) : Encoded::FromCode(code);
}

void CodePageTable::AddSingles(SystemCharset& charset) {
  for (unsigned byte = 0; byte < 256; ++byte) {
    if (form_.IsLead(static_cast<unsigned char>(byte))) continue;
    const char character = static_cast<char>(byte);
    std::optional<char16_t> unit = DecodeUnit(charset, {&character, 1});
    // Windows takes the undefined bytes of this range for the control characters of that number.
    const bool isControl = byte >= 0x80 && byte < 0xA0 && !form_.IsDoubleByte();
    if (!unit && isControl) unit = static_cast<char16_t>(byte);
    if (!unit) continue;
    singles_[byte] = *unit;
    Add(byte, *unit, charset);
  }
  if (form_.number != CODE_PAGE_JAPANESE) return;
  for (const auto& [byte, unit] : JAPANESE_SINGLES) {
    singles_[byte] = unit;
    encoded_[unit] = Encoded::FromCode(byte);
  }
}

void CodePageTable::AddPairs(SystemCharset& charset) {
  for (unsigned code = 0x8140; code < 0x10000; ++code) {
    const char character[] = {static_cast<char>(code >> 8), static_cast<char>(code)};
    if (!form_.IsLead(ToByte(character[0])) || !LooksLikeSecondByte(ToByte(character[1]))) continue;
    const std::optional<char16_t> unit = DecodeUnit(charset, {character, 2});
    if (!unit) continue;
    pairs_[code] = *unit;
    Add(code, *unit, charset);
  }
}

void CodePageTable::AddOneWayCharacters() {
  if (form_.number != CODE_PAGE_JAPANESE) return;
  for (const auto& [unit, code] : JAPANESE_ONE_WAY)
    encoded_[unit] = Encoded::FromCode(code);
}

std::string CodePageTable::FromUtf16(std::u16string_view text) const {
  // One byte more than needed: see Write.
  const std::size_t maxBytes = text.size() * (form_.IsDoubleByte() ? 2 : 1) + 1;
  // Short texts are many: most of them need no memory of their own once their size is known.
  constexpr std::size_t SHORT_BYTES = 512;
  if (maxBytes <= SHORT_BYTES) {
    char bytes[SHORT_BYTES];
    return {bytes, Write(text, bytes)};
  }
  std::string result(maxBytes, '\0');
  result.resize(static_cast<std::size_t>(Write(text, result.data()) - result.data()));
  return result;
}

// Writes `text` at `out` and returns the end of what was written. Each character is written as if
// it had two bytes, without a branch, which nobody could predict in mixed text.
char* CodePageTable::Write(std::u16string_view text, char* out) const {
  // Both bytes in one load.
  const auto look = [encoded = encoded_.data()](char16_t unit) {
    return std::bit_cast<std::uint16_t>(encoded[unit].bytes);
  };
  const auto write = [&out](std::uint16_t bytes) {
    std::memcpy(out, &bytes, sizeof bytes);
    const bool isLittleEndian = std::endian::native == std::endian::little;
    const unsigned second = isLittleEndian ? bytes >> 8 : bytes & 0xFF;
    out += second != 0 ? 2 : 1;
  };
  const char16_t* unit = text.data();
  const char16_t* const end = unit + text.size();
  while (unit != end) {
    if (end - unit >= UNITS_AT_ONCE && !HoldHighSurrogate(unit)) {
      // All looked up before the first is written, which the compiler may not do by itself.
      const std::uint16_t first = look(unit[0]);
      const std::uint16_t second = look(unit[1]);
      const std::uint16_t third = look(unit[2]);
      const std::uint16_t fourth = look(unit[3]);
      write(first);
      write(second);
      write(third);
      write(fourth);
      unit += UNITS_AT_ONCE;
    } else {
      write(look(*unit));
      // A pair is one character, without a counterpart.
      unit += UnitsOfCharacter({unit, end}, 0);
    }
  }
  return out;
}

std::u16string CodePageTable::ToUtf16(std::string_view bytes, bool& isDamaged) const {
  return ToUtf16(bytes, isDamaged, form_.damaged);
}

std::u16string CodePageTable::ToUtf16(std::string_view bytes, bool& isDamaged,
                                      char16_t forDamage) const {
  std::u16string result(bytes.size(), u'\0');
  char16_t* out = result.data();
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const unsigned char first = ToByte(bytes[i]);
    char16_t unit = singles_[first];
    const bool hasSecond =
        form_.IsLead(first) && i + 1 < bytes.size() && LooksLikeSecondByte(ToByte(bytes[i + 1]));
    if (hasSecond) unit = pairs_[static_cast<unsigned>(first) << 8 | ToByte(bytes[++i])];
    if (unit == NO_CHARACTER) isDamaged = true;
    *out++ = unit == NO_CHARACTER ? forDamage : unit;
  }
  result.resize(static_cast<std::size_t>(out - result.data()));
  return result;
}

std::uint16_t CodePageTable::CodeOf(char16_t unit) const {
  const Encoded& encoded = encoded_[unit];
  const auto first = ToByte(encoded.bytes[0]);
  if (first == '?' && unit != u'?') return 0;
  return encoded.Size() == 1 ? first
                             : static_cast<std::uint16_t>(first << 8 | ToByte(encoded.bytes[1]));
}

std::uint16_t CodePageTable::PreferredCode(std::uint16_t pair) const {
  return pairs_[pair] == NO_CHARACTER ? std::uint16_t{0} : CodeOf(pairs_[pair]);
}

}  // namespace nimport::text
