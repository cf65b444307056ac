#include "text/code_page_932_table.h"

#include <optional>
#include <utility>

#include "text/iconv_converter.h"

namespace nimport::mime {
namespace {

constexpr std::size_t BASIC_PLANE_SIZE = 0x10000;

constexpr bool IsTrailByte(unsigned byte) {
  return byte >= 0x40 && byte <= 0xFC && byte != 0x7F;
}

// The one UTF-16 unit that `bytes` are, or nothing.
std::optional<char16_t> Decode(IconvConverter& converter, std::string_view bytes) {
  const std::optional<std::string> utf16 = converter.ConvertStrict(bytes);
  if (!utf16 || utf16->size() != 2) return std::nullopt;
  const auto low = static_cast<unsigned char>((*utf16)[0]);
  const auto high = static_cast<unsigned char>((*utf16)[1]);
  return static_cast<char16_t>(low | high << 8);
}

// Characters that texts made by JIS tables hold where Microsoft's mapping has another one.
constexpr std::pair<char16_t, Code932> OTHER_MAPPINGS[] = {
    {0x301C, 0x8160},  // wave dash
    {0x2212, 0x817C},  // minus sign
    {0x2016, 0x8161},  // double vertical line
    {0x2014, 0x815C},  // em dash
    {0x00A2, 0x8191},  // cent sign
    {0x00A3, 0x8192},  // pound sign
    {0x00AC, 0x81CA},  // not sign
    {0x00A5, 0x5C},    // yen sign: what the code page shows at 0x5C
    {0x203E, 0x7E},    // overline, likewise
    {0x00A0, 0x20},    // no-break space
};

}  // namespace

const CodePage932Table& CodePage932Table::Get() {
  // Never destroyed: a caller's exit handlers may still come here, and the library stays in memory.
  static const auto* const table = new CodePage932Table;
  return *table;
}

CodePage932Table::CodePage932Table()
    : fromUnicode_(BASIC_PLANE_SIZE, 0), preferred_(BASIC_PLANE_SIZE, 0) {
  AddSingleBytes();
  AddRange(0x8140, 0x86FC);  // JIS X 0208, rows 1 to 8
  AddRange(0x8840, 0x9FFC);  // JIS X 0208, kanji
  AddRange(0xE040, 0xEAFC);
  AddRange(0x8740, 0x87FC);  // NEC row 13
  AddRange(0xFA40, 0xFCFC);  // IBM's extensions
  AddRange(0xED40, 0xEEFC);  // IBM's extensions as NEC selected and placed them
  AddUserDefined();
  for (const auto& [character, code] : OTHER_MAPPINGS) {
    if (fromUnicode_[character] == 0) fromUnicode_[character] = code;
  }
}

void CodePage932Table::AddSingleBytes() {
  for (unsigned byte = 1; byte < 0x80; ++byte)
    fromUnicode_[byte] = static_cast<Code932>(byte);
  for (unsigned byte = 0xA1; byte <= 0xDF; ++byte) {
    fromUnicode_[0xFF61 + byte - 0xA1] = static_cast<Code932>(byte);
  }
}

void CodePage932Table::AddRange(Code932 first, Code932 last) {
  IconvConverter converter("UTF-16LE", "CP932");
  for (unsigned code = first; code <= last; ++code) {
    if (!IsTrailByte(code & 0xFF)) continue;
    const char bytes[] = {static_cast<char>(code >> 8), static_cast<char>(code & 0xFF)};
    const std::optional<char16_t> character = Decode(converter, {bytes, sizeof(bytes)});
    if (!character) continue;
    Code932& known = fromUnicode_[*character];
    if (known == 0) known = static_cast<Code932>(code);
    preferred_[code] = known;
  }
}

void CodePage932Table::AddUserDefined() {
  // Rows 95 to 114 are Unicode's private use area in order, 188 characters to a lead byte.
  char16_t character = 0xE000;
  for (unsigned code = 0xF040; code <= 0xF9FC; ++code) {
    if (!IsTrailByte(code & 0xFF)) continue;
    fromUnicode_[character++] = static_cast<Code932>(code);
    preferred_[code] = static_cast<Code932>(code);
  }
}

}  // namespace nimport::mime
