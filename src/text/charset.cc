#include "text/charset.h"

#include <algorithm>

#include <gmime/gmime.h>

#include "text/ascii.h"
#include "text/iconv_converter.h"
#include "text/japanese.h"
#include "text/utf8.h"

namespace nimport::mime {
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

CharsetKind FindKind(std::string_view charset) {
  std::string name;
  for (const char character : charset) {
    if (IsAsciiLetterOrDigit(character)) name += AsciiLower(character);
  }
  if (name.starts_with("iso2022jp")) return CharsetKind::Iso2022Jp;
  const auto* found = std::ranges::find(CHARSET_NAMES, name, &CharsetName::name);
  return found == std::end(CHARSET_NAMES) ? CharsetKind::Other : found->kind;
}

// Names that the system's converter may get: it treats some other characters as instructions.
bool IsPlainName(std::string_view charset) {
  return charset.size() <= MAX_CHARSET_NAME && std::ranges::all_of(charset, [](char character) {
           return IsAsciiLetterOrDigit(character) ||
                  std::string_view("-_.:+").find(character) != std::string_view::npos;
         });
}

// The system's name for `charset`, or empty when it does not know it.
std::string FindSystemName(std::string_view charset) {
  if (!IsPlainName(charset)) return {};
  std::string given(charset);
  // What calls itself Latin-1 in mails has Microsoft's quotation marks and dashes in it.
  std::string canonical = g_mime_charset_iconv_name(given.c_str());
  if (EqualsIgnoringCase(canonical, "iso-8859-1")) return "CP1252";
  if (EqualsIgnoringCase(canonical, "unicode-1-1-utf-7")) return "UTF-7";
  if (IconvConverter::Exists("UTF-8", canonical.c_str())) return canonical;
  const bool isPrivateName = given.size() > 2 && EqualsIgnoringCase(given.substr(0, 2), "x-");
  return isPrivateName ? FindSystemName(std::string_view(given).substr(2)) : std::string();
}

bool IsSevenBit(std::string_view bytes) {
  return std::ranges::none_of(bytes, [](char byte) { return static_cast<signed char>(byte) < 0; });
}

// Encodings other than Japan's that use escape sequences, or that 7-bit text is not ASCII in.
bool ReadsEscapesItself(std::string_view charset) {
  return StartsWithIgnoringCase(charset, "iso-2022-") || StartsWithIgnoringCase(charset, "utf-");
}

std::string ConvertOther(std::string_view bytes, std::string_view charset) {
  const std::string systemName = FindSystemName(charset);
  if (systemName.empty()) return GuessToCodePage932(bytes);
  return CodePage932FromUtf8(IconvConverter("UTF-8", systemName.c_str()).Convert(bytes));
}

}  // namespace

std::string ToCodePage932(std::string_view bytes, std::string_view charset) {
  // A language may follow the name: iso-2022-jp*ja.
  charset = Trim(charset.substr(0, charset.find('*')));
  const CharsetKind kind = FindKind(charset);
  if (kind == CharsetKind::Unknown) return GuessToCodePage932(bytes);
  if (kind == CharsetKind::Iso2022Jp) {
    return LooksLikeIso2022Jp(bytes) || IsSevenBit(bytes) ? CodePage932FromIso2022Jp(bytes)
                                                          : GuessToCodePage932(bytes);
  }
  const bool isContradicted =
      !ReadsEscapesItself(charset) && LooksLikeIso2022Jp(bytes) && IsSevenBit(bytes);
  if (isContradicted) return CodePage932FromIso2022Jp(bytes);
  switch (kind) {
    case CharsetKind::CodePage932:
      return std::string(bytes);
    case CharsetKind::EucJp:
      return CodePage932FromEucJp(bytes);
    case CharsetKind::Utf8:
      return CodePage932FromUtf8(bytes);
    default:
      return ConvertOther(bytes, charset);
  }
}

std::string GuessToCodePage932(std::string_view bytes) {
  if (LooksLikeIso2022Jp(bytes)) return CodePage932FromIso2022Jp(bytes);
  if (IsSevenBit(bytes) || !IsUtf8(bytes)) return std::string(bytes);
  return CodePage932FromUtf8(bytes);
}

}  // namespace nimport::mime
