#include "text/composition.h"

#include <algorithm>
#include <cstddef>

namespace nimport::text {
namespace {

// Unicode's canonical decompositions (UnicodeData.txt) of the characters that code page 932 has: of
// all that have a decomposition, not of kana alone.
struct Compositions {
  char16_t mark;
  std::u16string_view bases, composed;  // by place
};
constexpr Compositions COMPOSITIONS[] = {
    {u'\u3099',
     u"\u304B\u304D\u304F\u3051\u3053\u3055\u3057\u3059\u305B\u305D"   // hiragana: KA to SO,
     u"\u305F\u3061\u3064\u3066\u3068\u306F\u3072\u3075\u3078\u307B"   // TA to HO,
     u"\u309D"                                                         // the iteration mark;
     u"\u30AB\u30AD\u30AF\u30B1\u30B3\u30B5\u30B7\u30B9\u30BB\u30BD"   // katakana likewise,
     u"\u30BF\u30C1\u30C4\u30C6\u30C8\u30CF\u30D2\u30D5\u30D8\u30DB"   //
     u"\u30FD\u30A6",                                                  // and U
     u"\u304C\u304E\u3050\u3052\u3054\u3056\u3058\u305A\u305C\u305E"   //
     u"\u3060\u3062\u3065\u3067\u3069\u3070\u3073\u3076\u3079\u307C"   //
     u"\u309E"                                                         //
     u"\u30AC\u30AE\u30B0\u30B2\u30B4\u30B6\u30B8\u30BA\u30BC\u30BE"   //
     u"\u30C0\u30C2\u30C5\u30C7\u30C9\u30D0\u30D3\u30D6\u30D9\u30DC"   //
     u"\u30FE\u30F4"},                                                 //
    {u'\u309A',                                                        // HA to HO of both
     u"\u306F\u3072\u3075\u3078\u307B\u30CF\u30D2\u30D5\u30D8\u30DB",  //
     u"\u3071\u3074\u3077\u307A\u307D\u30D1\u30D4\u30D7\u30DA\u30DD"},
    {u'\u0306', u"\u0418\u0438", u"\u0419\u0439"},  // Cyrillic I with a breve
    {u'\u0308', u"\u0415\u0435", u"\u0401\u0451"},  // Cyrillic IE with a diaeresis
    {u'\u030A', u"A", u"\u212B"},                   // the ring: the code page's only accented A
    {u'\u0338', u"=", u"\u2260"},                   // the equals sign struck out
};

}  // namespace

char16_t ComposeForCodePage932(char32_t base, char32_t mark) {
  const auto* const known = std::ranges::find(COMPOSITIONS, mark, &Compositions::mark);
  if (known == std::end(COMPOSITIONS) || base > 0xFFFF) return 0;
  const std::size_t place = known->bases.find(static_cast<char16_t>(base));
  return place == std::u16string_view::npos ? u'\0' : known->composed[place];
}

std::u16string ComposeForCodePage932(std::u16string_view text) {
  std::u16string result;
  result.reserve(text.size());
  for (const char16_t unit : text) {
    const char16_t composed = result.empty() ? u'\0' : ComposeForCodePage932(result.back(), unit);
    if (composed != 0) result.pop_back();
    result += composed != 0 ? composed : unit;
  }
  return result;
}

}  // namespace nimport::text
