#include "text/charset.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "text/ascii.h"
#include "text/code_page_932.h"
#include "text/detector.h"
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

// What calls itself Latin-1 in mails has Microsoft's quotation marks and dashes in it.
constexpr std::string_view WESTERN = "CP1252";

// Names in mails that systems do not know, or by which they mean less than mails do.
constexpr std::pair<std::string_view, std::string_view> SYSTEM_NAMES[] = {
    {"latin1", WESTERN},
    {"l1", WESTERN},
    {"88591", WESTERN},
    {"isoir100", WESTERN},
    {"csisolatin1", WESTERN},
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
  return part == "1" ? std::string(WESTERN) : "ISO-8859-" + std::string(part);
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

std::string_view FindListedName(std::string_view bareName) {
  const auto* const found =
      std::ranges::find(SYSTEM_NAMES, bareName, [](const auto& pair) { return pair.first; });
  return found == std::end(SYSTEM_NAMES) ? "" : found->second;
}

std::optional<SystemCharset> OpenCharset(std::string_view charset) {
  if (!IsPlainName(charset)) return std::nullopt;
  const std::string name = Bare(charset);
  std::string dashed(charset);
  std::ranges::replace(dashed, '_', '-');
  for (const std::string& candidate : {std::string(FindListedName(name)), FindIso8859Name(charset),
                                       FindCodePageName(name), std::string(charset), dashed}) {
    if (candidate.empty()) continue;
    if (auto opened = SystemCharset::Open(candidate)) return opened;
  }
  // A private name may only put "x-" before a known one.
  const bool isPrivate = charset.size() > 2 && StartsWithIgnoringCase(charset, "x-");
  return isPrivate ? OpenCharset(charset.substr(2)) : std::nullopt;
}

// Encodings other than Japan's that use escape sequences, or that 7-bit text is not ASCII in.
bool ReadsEscapesItself(std::string_view charset) {
  return StartsWithIgnoringCase(charset, "iso-2022-") || StartsWithIgnoringCase(charset, "utf-") ||
         StartsWithIgnoringCase(charset, "ucs-") || StartsWithIgnoringCase(charset, "iso-10646");
}

// What the name of a set of the system promises.
Label LabelOf(std::string_view charset) {
  const std::string name = Bare(charset);
  const std::string iso8859 = FindIso8859Name(charset);
  if (FindListedName(name) == WESTERN || iso8859 == WESTERN || iso8859 == "ISO-8859-15") {
    return Label::Western;
  }
  const std::string codePage = FindCodePageName(name);
  if (codePage == WESTERN) return Label::Western;
  const bool isSingleByte =
      !iso8859.empty() || name.starts_with("koi8") || codePage.starts_with("CP125");
  return isSingleByte ? Label::SingleByte : Label::MultiByte;
}

// How bytes are to be read: as `encoding`, or where there is one by `system`.
struct Reading {
  Encoding encoding = Encoding::CodePage932;
  std::optional<SystemCharset> system{};
};

Reading ReadingAs(Encoding encoding) {
  if (encoding == Encoding::Western) return {.system = OpenCharset(WESTERN)};
  return {encoding};
}

// What the label says.
Encoding EncodingOf(CharsetKind kind) {
  if (kind == CharsetKind::EucJp) return Encoding::EucJp;
  return kind == CharsetKind::Utf8 ? Encoding::Utf8 : Encoding::CodePage932;
}

Label LabelOf(CharsetKind kind, std::string_view charset) {
  switch (kind) {
    case CharsetKind::CodePage932:
      return Label::CodePage932;
    case CharsetKind::EucJp:
      return Label::EucJp;
    case CharsetKind::Utf8:
      return Label::Utf8;
    default:
      return LabelOf(charset);
  }
}

Reading FindReading(std::string_view bytes, std::string_view charset) {
  // A language may follow the name: iso-2022-jp*ja.
  charset = Trim(charset.substr(0, charset.find('*')));
  const CharsetKind kind = FindKind(charset);
  if (kind == CharsetKind::Unknown) return ReadingAs(GuessEncoding(bytes));
  if (kind == CharsetKind::Iso2022Jp) {
    const bool isMeant = LooksLikeIso2022Jp(bytes) || IsAscii(bytes);
    return ReadingAs(isMeant ? Encoding::Iso2022Jp : GuessEncoding(bytes));
  }
  if (kind != CharsetKind::Other || !ReadsEscapesItself(charset)) {
    if (const auto other = FindContradiction(bytes, LabelOf(kind, charset))) {
      return ReadingAs(*other);
    }
  }
  if (kind != CharsetKind::Other) return {EncodingOf(kind)};
  if (auto system = OpenCharset(charset)) return {.system = std::move(system)};
  return ReadingAs(GuessEncoding(bytes));
}

std::string ReadAsCodePage932(Reading& reading, std::string_view bytes) {
  if (reading.system)
    return CodePage932FromUtf8(Utf8FromUtf16(reading.system->Decode(bytes, u'?')));
  switch (reading.encoding) {
    case Encoding::EucJp:
      return DecodeEucJp(bytes, JapaneseForm::CodePage932);
    case Encoding::Iso2022Jp:
      return DecodeIso2022Jp(bytes, JapaneseForm::CodePage932);
    case Encoding::Utf8:
      return CodePage932FromUtf8(bytes);
    case Encoding::CodePage932:
    case Encoding::Western:  // where the system lacks it
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

std::string ReadAsUtf8(Reading& reading, std::string_view bytes) {
  constexpr char16_t REPLACEMENT = 0xFFFD;
  if (reading.system) return Utf8FromUtf16(reading.system->Decode(bytes, REPLACEMENT));
  switch (reading.encoding) {
    case Encoding::EucJp:
      return DecodeEucJp(bytes, JapaneseForm::Utf8);
    case Encoding::Iso2022Jp:
      return DecodeIso2022Jp(bytes, JapaneseForm::Utf8);
    case Encoding::Utf8:
      return WholeUtf8(bytes);
    case Encoding::CodePage932:
    case Encoding::Western:
      break;
  }
  return Utf8FromCodePage932(bytes);
}

}  // namespace

std::string ToCodePage932(std::string_view bytes, std::string_view charset) {
  Reading reading = FindReading(bytes, charset);
  return ReadAsCodePage932(reading, bytes);
}

std::string GuessToCodePage932(std::string_view bytes) {
  Reading reading = ReadingAs(GuessEncoding(bytes));
  return ReadAsCodePage932(reading, bytes);
}

std::string ToUtf8(std::string_view bytes, std::string_view charset) {
  Reading reading = FindReading(bytes, charset);
  return ReadAsUtf8(reading, bytes);
}

std::string GuessToUtf8(std::string_view bytes) {
  // Most header text; every encoding has it as it is.
  if (IsAscii(bytes) && bytes.find('\x1B') == bytes.npos) return std::string(bytes);
  Reading reading = ReadingAs(GuessEncoding(bytes));
  return ReadAsUtf8(reading, bytes);
}

bool FollowsLabel(std::string_view bytes, std::string_view charset) {
  const Reading reading = FindReading(bytes, charset);
  const CharsetKind kind = FindKind(Trim(charset.substr(0, charset.find('*'))));
  switch (kind) {
    case CharsetKind::Unknown:
      return IsAscii(bytes) && reading.encoding != Encoding::Iso2022Jp;
    case CharsetKind::Iso2022Jp:
      return reading.encoding == Encoding::Iso2022Jp;
    case CharsetKind::Other:
      return reading.system.has_value();
    default:
      return reading.encoding == EncodingOf(kind);
  }
}

}  // namespace nimport::text
