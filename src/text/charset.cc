#include "text/charset.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "text/ascii.h"
#include "text/code_page_932.h"
#include "text/japanese.h"
#include "text/system_charset.h"
#include "text/utf16.h"
#include "text/utf8.h"

namespace nimport::text {
namespace {

enum class CharsetKind { Unknown, CodePage932, EucJp, Iso2022Jp, Utf8, Other };

struct CharsetName {
  std::string_view name;  // lower case, letters and digits only
  CharsetKind kind;
};

constexpr CharsetName CHARSET_NAMES[] = {
    {"", CharsetKind::Unknown},
    {"usascii", CharsetKind::Unknown},
    {"ascii", CharsetKind::Unknown},
    {"xascii", CharsetKind::Unknown},
    {"ansix341968", CharsetKind::Unknown},
    {"iso646us", CharsetKind::Unknown},
    {"us", CharsetKind::Unknown},
    {"unknown", CharsetKind::Unknown},
    {"xunknown", CharsetKind::Unknown},
    {"unknown8bit", CharsetKind::Unknown},
    {"xunknown8bit", CharsetKind::Unknown},
    {"xuserdefined", CharsetKind::Unknown},
    {"default", CharsetKind::Unknown},
    {"none", CharsetKind::Unknown},
    {"7bit", CharsetKind::Unknown},
    {"8bit", CharsetKind::Unknown},
    {"binary", CharsetKind::Unknown},
    {"shiftjis", CharsetKind::CodePage932},
    {"xshiftjis", CharsetKind::CodePage932},
    {"csshiftjis", CharsetKind::CodePage932},
    {"sjis", CharsetKind::CodePage932},
    {"xsjis", CharsetKind::CodePage932},
    {"xsjisjp", CharsetKind::CodePage932},
    {"mskanji", CharsetKind::CodePage932},
    {"xmscp932", CharsetKind::CodePage932},
    {"mscp932", CharsetKind::CodePage932},
    {"ms932", CharsetKind::CodePage932},
    {"cp932", CharsetKind::CodePage932},
    {"932", CharsetKind::CodePage932},
    {"cp943", CharsetKind::CodePage932},
    {"cp943c", CharsetKind::CodePage932},
    {"ibm943", CharsetKind::CodePage932},
    {"windows932", CharsetKind::CodePage932},
    {"windows31j", CharsetKind::CodePage932},
    {"cswindows31j", CharsetKind::CodePage932},
    {"eucjp", CharsetKind::EucJp},
    {"xeucjp", CharsetKind::EucJp},
    {"xeuc", CharsetKind::EucJp},
    {"eucjpms", CharsetKind::EucJp},
    {"eucjpwin", CharsetKind::EucJp},
    {"ujis", CharsetKind::EucJp},
    {"cp51932", CharsetKind::EucJp},
    {"cseucpkdfmtjapanese", CharsetKind::EucJp},
    {"extendedunixcodepackedformatforjapanese", CharsetKind::EucJp},
    {"jis", CharsetKind::Iso2022Jp},
    {"xjis", CharsetKind::Iso2022Jp},
    {"jis7", CharsetKind::Iso2022Jp},
    {"jis8", CharsetKind::Iso2022Jp},
    {"junet", CharsetKind::Iso2022Jp},
    {"csiso2022jp", CharsetKind::Iso2022Jp},
    {"cp50220", CharsetKind::Iso2022Jp},
    {"cp50221", CharsetKind::Iso2022Jp},
    {"cp50222", CharsetKind::Iso2022Jp},
    {"utf8", CharsetKind::Utf8},
    {"xutf8", CharsetKind::Utf8},
    {"utf8mb4", CharsetKind::Utf8},
    {"cp65001", CharsetKind::Utf8},
    {"unicode11utf8", CharsetKind::Utf8},
};

// The longest name that is still looked up; it only bounds what a mail can make us do.
constexpr std::size_t MAX_CHARSET_NAME = 64;

// Letters and digits of `charset` alone, in lower case: what is left of a name where mailers differ
// in the rest.
std::string Bare(std::string_view charset) {
  std::string name;
  for (const char character : charset) {
    if (IsAsciiLetterOrDigit(character)) name += AsciiLower(character);
  }
  return name;
}

CharsetKind FindKind(std::string_view charset) {
  const std::string name = Bare(charset);
  if (name.starts_with("iso2022jp")) return CharsetKind::Iso2022Jp;
  const auto* found = std::ranges::find(CHARSET_NAMES, name, &CharsetName::name);
  return found == std::end(CHARSET_NAMES) ? CharsetKind::Other : found->kind;
}

bool IsPlainName(std::string_view charset) {
  return charset.size() <= MAX_CHARSET_NAME && std::ranges::all_of(charset, [](char character) {
           return IsAsciiLetterOrDigit(character) ||
                  std::string_view("-_.:+").find(character) != std::string_view::npos;
         });
}

// Names in mails that systems do not know, or by which they mean less than mails do.
constexpr std::pair<std::string_view, const char*> SYSTEM_NAMES[] = {
    {"latin1", "CP1252"},
    {"l1", "CP1252"},
    {"88591", "CP1252"},
    {"isoir100", "CP1252"},
    {"csisolatin1", "CP1252"},
    {"gb2312", "GBK"},
    {"gb231280", "GBK"},
    {"gb23120", "GBK"},
    {"gb231219800", "GBK"},
    {"euccn", "GBK"},
    {"big50", "BIG5"},
    {"big5eten0", "BIG5"},
    {"big5hkscs0", "BIG5-HKSCS"},
    {"5601", "CP949"},
    {"ksc5601", "CP949"},
    {"ksc56011987", "CP949"},
    {"ksc560119870", "CP949"},
    {"ksc58611992", "CP949"},
    {"euckr", "CP949"},
    {"iso2022kr", "ISO-2022-KR"},
    {"iso10646", "UCS-2BE"},
    {"iso106461", "UCS-2BE"},
    {"iso10646ucs2", "UCS-2BE"},
    {"unicode11utf7", "UTF-7"},
};

std::string_view LeadingDigits(std::string_view text) {
  return {text.begin(), std::ranges::find_if_not(text, IsAsciiDigit)};
}

// The name of a part of ISO 8859, whatever follows its number ("iso-8859-8-i"); empty for another
// charset.
std::string FindIso8859Name(std::string_view charset) {
  constexpr std::string_view NUMBER = "8859";
  const std::size_t at = charset.find(NUMBER);
  if (!StartsWithIgnoringCase(charset, "iso") || at == std::string_view::npos) return {};
  std::string_view rest = charset.substr(at + NUMBER.size());
  if (rest.starts_with('-') || rest.starts_with('_')) rest.remove_prefix(1);
  const std::string_view part = LeadingDigits(rest);
  if (part.empty()) return {};
  // What calls itself Latin-1 in mails has Microsoft's quotation marks and dashes in it.
  return part == "1" ? "CP1252" : "ISO-8859-" + std::string(part);
}

// The name of a code page of Windows ("windows-949", "microsoft-cp1251", "cp-1250"); empty for
// another charset. `name` has letters and digits only.
std::string FindCodePageName(std::string_view name) {
  for (const std::string_view beginning : {"windows", "microsoft", ""}) {
    if (!name.starts_with(beginning)) continue;
    std::string_view number = name.substr(beginning.size());
    if (number.starts_with("cp")) number.remove_prefix(2);
    const bool isNamed = number.size() < name.size();
    const bool isNumber = !number.empty() && LeadingDigits(number).size() == number.size();
    if (isNamed && isNumber) return "CP" + std::string(number);
  }
  return {};
}

std::optional<SystemCharset> OpenCharset(std::string_view charset) {
  if (!IsPlainName(charset)) return std::nullopt;
  const std::string name = Bare(charset);
  const auto* const found = std::ranges::find(SYSTEM_NAMES, std::string_view(name),
                                              [](const auto& pair) { return pair.first; });
  const std::string listed = found == std::end(SYSTEM_NAMES) ? "" : found->second;
  for (const std::string& candidate :
       {listed, FindIso8859Name(charset), FindCodePageName(name), std::string(charset)}) {
    if (candidate.empty()) continue;
    if (auto opened = SystemCharset::Open(candidate)) return opened;
  }
  // A private name may only put "x-" before a known one.
  const bool isPrivate = charset.size() > 2 && StartsWithIgnoringCase(charset, "x-");
  return isPrivate ? OpenCharset(charset.substr(2)) : std::nullopt;
}

// Encodings other than Japan's that use escape sequences, or that 7-bit text is not ASCII in.
bool ReadsEscapesItself(std::string_view charset) {
  return StartsWithIgnoringCase(charset, "iso-2022-") || StartsWithIgnoringCase(charset, "utf-");
}

// How bytes are to be read.
enum class Reading { CodePage932, EucJp, Iso2022Jp, Utf8, BySystem };

Reading GuessReading(std::string_view bytes) {
  if (LooksLikeIso2022Jp(bytes)) return Reading::Iso2022Jp;
  return IsAscii(bytes) || !IsUtf8(bytes) ? Reading::CodePage932 : Reading::Utf8;
}

// `system` is set where the system is to read.
Reading FindReading(std::string_view bytes, std::string_view charset,
                    std::optional<SystemCharset>& system) {
  // A language may follow the name: iso-2022-jp*ja.
  charset = Trim(charset.substr(0, charset.find('*')));
  const CharsetKind kind = FindKind(charset);
  if (kind == CharsetKind::Unknown) return GuessReading(bytes);
  if (kind == CharsetKind::Iso2022Jp) {
    const bool isMeant = LooksLikeIso2022Jp(bytes) || IsAscii(bytes);
    return isMeant ? Reading::Iso2022Jp : GuessReading(bytes);
  }
  const bool isContradicted =
      !ReadsEscapesItself(charset) && LooksLikeIso2022Jp(bytes) && IsAscii(bytes);
  if (isContradicted) return Reading::Iso2022Jp;
  switch (kind) {
    case CharsetKind::CodePage932:
      return Reading::CodePage932;
    case CharsetKind::EucJp:
      return Reading::EucJp;
    case CharsetKind::Utf8:
      return Reading::Utf8;
    default:
      system = OpenCharset(charset);
      return system ? Reading::BySystem : GuessReading(bytes);
  }
}

std::string ReadAsCodePage932(Reading reading, std::string_view bytes,
                              std::optional<SystemCharset>& system) {
  switch (reading) {
    case Reading::EucJp:
      return CodePage932FromEucJp(bytes);
    case Reading::Iso2022Jp:
      return CodePage932FromIso2022Jp(bytes);
    case Reading::Utf8:
      return CodePage932FromUtf8(bytes);
    case Reading::BySystem:
      return CodePage932FromUtf8(Utf8FromUtf16(system->Decode(bytes, u'?')));
    case Reading::CodePage932:
      break;
  }
  return std::string(bytes);
}

// `text` without a byte order mark, each run of damage as U+FFFD.
std::string WholeUtf8(std::string_view text) {
  constexpr std::string_view REPLACEMENT = "\xEF\xBF\xBD";
  if (text.starts_with(UTF8_BYTE_ORDER_MARK)) text.remove_prefix(UTF8_BYTE_ORDER_MARK.size());
  std::string whole;
  whole.reserve(text.size());
  bool isInDamage = false;
  while (!text.empty()) {
    std::string_view rest = text;
    const bool isDamage = TakeUtf8Character(rest) == DAMAGED_UTF8;
    if (!isDamage) whole += text.substr(0, text.size() - rest.size());
    if (isDamage && !isInDamage) whole += REPLACEMENT;
    isInDamage = isDamage;
    text = rest;
  }
  return whole;
}

std::string ReadAsUtf8(Reading reading, std::string_view bytes,
                       std::optional<SystemCharset>& system) {
  if (reading == Reading::Utf8) return WholeUtf8(bytes);
  if (reading == Reading::BySystem) return Utf8FromUtf16(system->Decode(bytes, u'?'));
  return Utf8FromCodePage932(ReadAsCodePage932(reading, bytes, system));
}

}  // namespace

std::string ToCodePage932(std::string_view bytes, std::string_view charset) {
  std::optional<SystemCharset> system;
  const Reading reading = FindReading(bytes, charset, system);
  return ReadAsCodePage932(reading, bytes, system);
}

std::string GuessToCodePage932(std::string_view bytes) {
  std::optional<SystemCharset> none;
  return ReadAsCodePage932(GuessReading(bytes), bytes, none);
}

std::string ToUtf8(std::string_view bytes, std::string_view charset) {
  std::optional<SystemCharset> system;
  const Reading reading = FindReading(bytes, charset, system);
  return ReadAsUtf8(reading, bytes, system);
}

std::string GuessToUtf8(std::string_view bytes) {
  std::optional<SystemCharset> none;
  return ReadAsUtf8(GuessReading(bytes), bytes, none);
}

}  // namespace nimport::text
