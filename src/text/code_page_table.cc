#include "text/code_page_table.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

#include "text/text_converter.h"

namespace nimport::platform {
namespace {

using Range = CodePageForm::Range;

constexpr char16_t NO_CHARACTER = 0xFFFF;
constexpr char16_t REPLACEMENT = 0xFFFD;

constexpr std::array<Range, 2> JAPANESE_LEADS{Range{0x81, 0x9F}, Range{0xE0, 0xFC}};
constexpr std::array<Range, 2> EAST_ASIAN_LEADS{Range{0x81, 0xFE}, Range{}};

constexpr CodePageForm FORMS[] = {
    {.number = CODE_PAGE_WESTERN, .iconvName = "CP1252"},
    {.number = CODE_PAGE_JAPANESE,
     .iconvName = "CP932",
     .leads = JAPANESE_LEADS,
     .damaged = u'\u30FB'},
    {.number = 437, .iconvName = "CP437"},
    {.number = 850, .iconvName = "CP850"},
    {.number = 852, .iconvName = "CP852"},
    {.number = 866, .iconvName = "CP866"},
    {.number = 874, .iconvName = "CP874"},
    {.number = 936, .iconvName = "CP936", .leads = EAST_ASIAN_LEADS},
    {.number = 949, .iconvName = "CP949", .leads = EAST_ASIAN_LEADS},
    {.number = 950, .iconvName = "CP950", .leads = EAST_ASIAN_LEADS},
    {.number = 1250, .iconvName = "CP1250"},
    {.number = 1251, .iconvName = "CP1251"},
    {.number = 1253, .iconvName = "CP1253"},
    {.number = 1254, .iconvName = "CP1254"},
    {.number = 1255, .iconvName = "CP1255"},
    {.number = 1256, .iconvName = "CP1256"},
    {.number = 1257, .iconvName = "CP1257"},
    {.number = 1258, .iconvName = "CP1258"},
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

constexpr bool IsHighSurrogate(char16_t unit) {
  return unit >= 0xD800 && unit <= 0xDBFF;
}
constexpr bool IsLowSurrogate(char16_t unit) {
  return unit >= 0xDC00 && unit <= 0xDFFF;
}
constexpr bool IsAscii(char16_t unit) {
  return unit < 0x80;
}
constexpr unsigned char ToByte(char c) {
  return static_cast<unsigned char>(c);
}

// Whether a double-byte character may end with `byte`, in any of the code pages.
constexpr bool LooksLikeSecondByte(unsigned char byte) {
  return byte >= 0x40 && byte != 0x7F && byte != 0xFF;
}

// Units from `position` on that form one character.
std::size_t UnitsOfCharacter(std::u16string_view text, std::size_t position) {
  const bool isPair = IsHighSurrogate(text[position]) && position + 1 < text.size() &&
                      IsLowSurrogate(text[position + 1]);
  return isPair ? 2 : 1;
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

}  // namespace

const CodePageForm& FindCodePageForm(unsigned codePage) {
  const auto* found = std::find_if(std::begin(FORMS), std::end(FORMS),
                                   [&](const auto& form) { return form.number == codePage; });
  return found == std::end(FORMS) ? FORMS[0] : *found;
}

CodePageTable::CodePageTable(const CodePageForm& form, CodePageSource& source)
    : form_(form), encoded_(0x10000) {
  AddSingles(source);
  if (form_.IsDoubleByte()) AddPairs(source);
  AddOneWayCharacters();
  // What has no counterpart; a NUL stays one.
  for (std::size_t unit = 1; unit < encoded_.size(); ++unit) {
    if (encoded_[unit].IsMissing()) encoded_[unit] = Encoded::FromCode('?');
  }
}

// Where several codes stand for one character, the system knows which of them to write.
void CodePageTable::Add(unsigned code, char16_t unit, CodePageSource& source) {
  if (unit == 0 || !encoded_[unit].IsMissing()) return;
  const std::string preferred = source.Encode(unit);
  encoded_[unit] = preferred.empty() ? Encoded::FromCode(code) : Encoded::FromBytes(preferred);
}

void CodePageTable::AddSingles(CodePageSource& source) {
  singles_.fill(NO_CHARACTER);
  for (unsigned byte = 0; byte < 256; ++byte) {
    if (form_.IsLead(static_cast<unsigned char>(byte))) continue;
    const char character = static_cast<char>(byte);
    std::optional<char16_t> unit = source.Decode({&character, 1});
    // Windows takes the undefined bytes of this range for the control characters of that number.
    const bool isControl = byte >= 0x80 && byte < 0xA0 && !form_.IsDoubleByte();
    if (!unit && isControl) unit = static_cast<char16_t>(byte);
    if (!unit) continue;
    singles_[byte] = *unit;
    Add(byte, *unit, source);
  }
  if (form_.number != CODE_PAGE_JAPANESE) return;
  for (const auto& [byte, unit] : JAPANESE_SINGLES) {
    singles_[byte] = unit;
    encoded_[unit] = Encoded::FromCode(byte);
  }
}

void CodePageTable::AddPairs(CodePageSource& source) {
  pairs_.assign(0x10000, NO_CHARACTER);
  for (unsigned code = 0x8140; code < 0x10000; ++code) {
    const char character[] = {static_cast<char>(code >> 8), static_cast<char>(code)};
    if (!form_.IsLead(ToByte(character[0])) || !LooksLikeSecondByte(ToByte(character[1]))) continue;
    const std::optional<char16_t> unit = source.Decode({character, 2});
    if (!unit) continue;
    pairs_[code] = *unit;
    Add(code, *unit, source);
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
  std::u16string result(bytes.size(), u'\0');
  char16_t* out = result.data();
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const unsigned char first = ToByte(bytes[i]);
    char16_t unit = singles_[first];
    const bool hasSecond =
        form_.IsLead(first) && i + 1 < bytes.size() && LooksLikeSecondByte(ToByte(bytes[i + 1]));
    if (hasSecond) unit = pairs_[static_cast<unsigned>(first) << 8 | ToByte(bytes[++i])];
    if (unit == NO_CHARACTER) isDamaged = true;
    *out++ = unit == NO_CHARACTER ? form_.damaged : unit;
  }
  result.resize(static_cast<std::size_t>(out - result.data()));
  return result;
}

std::string Utf8FromUtf16(std::u16string_view text) {
  std::string result;
  result.reserve(text.size());
  const auto addTail = [&](std::uint32_t bits) {
    result += static_cast<char>(0x80 | (bits & 0x3F));
  };
  for (std::size_t i = 0; i < text.size(); i += UnitsOfCharacter(text, i)) {
    const std::uint32_t unit = text[i];
    if (unit < 0x80) {
      result += static_cast<char>(unit);
    } else if (unit < 0x800) {
      result += static_cast<char>(0xC0 | unit >> 6);
      addTail(unit);
    } else if (UnitsOfCharacter(text, i) == 2) {
      const std::uint32_t code = 0x10000 + ((unit & 0x3FF) << 10) + (text[i + 1] & 0x3FFu);
      result += static_cast<char>(0xF0 | code >> 18);
      addTail(code >> 12);
      addTail(code >> 6);
      addTail(code);
    } else if (IsHighSurrogate(text[i]) || IsLowSurrogate(text[i])) {
      result += '?';
    } else {
      result += static_cast<char>(0xE0 | unit >> 12);
      addTail(unit >> 6);
      addTail(unit);
    }
  }
  return result;
}

namespace {

// The range in which the byte behind `lead` must lie for a well-formed sequence that is the
// shortest and no surrogate; and how many bytes follow `lead` (0: it begins nothing).
struct Utf8Sequence {
  unsigned tails = 0;
  unsigned char secondMin = 0x80;
  unsigned char secondMax = 0xBF;
};

Utf8Sequence SequenceOf(unsigned char lead) {
  if (lead < 0xC2 || lead > 0xF4) return {};
  if (lead < 0xE0) return {.tails = 1};
  if (lead == 0xE0) return {.tails = 2, .secondMin = 0xA0};
  if (lead == 0xED) return {.tails = 2, .secondMax = 0x9F};
  if (lead < 0xF0) return {.tails = 2};
  if (lead == 0xF0) return {.tails = 3, .secondMin = 0x90};
  if (lead == 0xF4) return {.tails = 3, .secondMax = 0x8F};
  return {.tails = 3};
}

// One character of UTF-8. Empty where the sequence is damaged; `size` then covers the part of it
// that began well.
std::optional<std::uint32_t> DecodeUtf8(std::string_view bytes, std::size_t& size) {
  const unsigned char lead = ToByte(bytes[0]);
  size = 1;
  if (lead < 0x80) return lead;
  const Utf8Sequence sequence = SequenceOf(lead);
  if (sequence.tails == 0) return std::nullopt;
  std::uint32_t code = lead & (0x3Fu >> sequence.tails);
  for (; size <= sequence.tails; ++size) {
    const unsigned char byte = size < bytes.size() ? ToByte(bytes[size]) : 0;
    const unsigned char low = size == 1 ? sequence.secondMin : 0x80;
    const unsigned char high = size == 1 ? sequence.secondMax : 0xBF;
    if (byte < low || byte > high) return std::nullopt;
    code = code << 6 | (byte & 0x3Fu);
  }
  return code;
}

}  // namespace

std::u16string Utf16FromUtf8(std::string_view bytes, bool& isDamaged) {
  std::u16string result;
  result.reserve(bytes.size());
  while (!bytes.empty()) {
    std::size_t size = 0;
    const std::optional<std::uint32_t> code = DecodeUtf8(bytes, size);
    bytes.remove_prefix(size);
    if (!code) {
      isDamaged = true;
      result += REPLACEMENT;
    } else if (*code < 0x10000) {
      result += static_cast<char16_t>(*code);
    } else {
      result += static_cast<char16_t>(0xD800 + ((*code - 0x10000) >> 10));
      result += static_cast<char16_t>(0xDC00 + (*code & 0x3FF));
    }
  }
  return result;
}

}  // namespace nimport::platform
