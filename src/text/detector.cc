#include "text/detector.h"

#include <cstddef>

#include "text/ascii.h"
#include "text/code_page_932.h"
#include "text/japanese.h"
#include "text/utf8.h"

namespace nimport::text {
namespace {

constexpr unsigned char ToByte(char character) {
  return static_cast<unsigned char>(character);
}

// At least one kana for so many 8-bit bytes, which all Japanese text beyond single words has and
// Chinese or Korean text, read as Japanese, has not.
constexpr std::size_t BYTES_FOR_ONE_KANA = 6;

// Text is of an encoding although there is damage in it while so many characters stand against each
// byte of damage.
constexpr std::size_t CHARACTERS_AGAINST_DAMAGE = 4;

// How text reads as UTF-8. Only what is beyond ASCII counts.
struct Utf8Reading {
  std::size_t characters = 0;
  std::size_t longCharacters = 0;  // of three or four bytes
  std::size_t smallLetters = 0;    // of western languages
  std::size_t marks = 0;           // quotation marks, dashes
  std::size_t damaged = 0;
  bool isCut = false;  // the last damage is a character that is whole as far as it goes

  // Whether its bytes are none that anybody wrote in a western set. A single capital letter may be
  // what a program made of a letter before that.
  [[nodiscard]] bool IsNoWesternText() const {
    return characters >= 2 || longCharacters + smallLetters > 0;
  }

  [[nodiscard]] bool IsWhole() const { return characters > 0 && damaged == 0; }

  [[nodiscard]] bool IsLikely() const {
    if (damaged == 0) return characters > 0;
    // Two bytes of single-byte katakana may look like one character.
    if (longCharacters == 0) return characters >= 2 * CHARACTERS_AGAINST_DAMAGE * damaged;
    return IsCutAfter(2) || characters >= CHARACTERS_AGAINST_DAMAGE * damaged;
  }

  // Whether all is whole, but for one character after some that cannot be chance.
  [[nodiscard]] bool IsCutAfter(std::size_t longOnes) const {
    return damaged == 1 && isCut && longCharacters >= longOnes;
  }
};

// Whether damage, before `after`, is the beginning of a character and nothing more.
bool IsCutCharacter(char first, std::string_view after) {
  return ToByte(first) >= 0xC2 && (after.empty() || IsAscii(after.front()));
}

Utf8Reading ReadAsUtf8(std::string_view bytes) {
  constexpr std::size_t HOPELESS = 16;
  Utf8Reading reading;
  while (!bytes.empty() && (reading.damaged < HOPELESS || reading.damaged < reading.characters)) {
    if (IsAscii(bytes.front())) {
      bytes.remove_prefix(1);
      continue;
    }
    const std::string_view rest = bytes;
    const char32_t character = TakeUtf8Character(bytes);
    if (character == DAMAGED_UTF8) {
      ++reading.damaged;
      reading.isCut = IsCutCharacter(rest.front(), bytes);
    } else {
      ++reading.characters;
      if (character >= 0x800) ++reading.longCharacters;
      if (character >= 0x2000 && character < 0x2070) ++reading.marks;
      if (character >= 0xDF && character <= 0xFF) ++reading.smallLetters;
    }
  }
  return reading;
}

// How text reads in one of the encodings with lead and trail bytes.
struct PairReading {
  std::size_t eightBitBytes = 0;
  std::size_t pairs = 0;
  std::size_t kana = 0;         // pairs that are hiragana or katakana
  std::size_t singles = 0;      // single-byte katakana
  std::size_t highPairs = 0;    // their first byte is a letter in western sets
  std::size_t lonelyPairs = 0;  // no other character beyond ASCII stands beside them
  std::size_t damaged = 0;

  [[nodiscard]] bool HasKana() const {
    return kana > 0 && kana * BYTES_FOR_ONE_KANA >= eightBitBytes;
  }

  // Whether words are written in pairs, as words in Japanese are. Quotation marks and dashes stand
  // alone, or before letters of ASCII.
  [[nodiscard]] bool HasWords() const {
    return pairs >= 2 && lonelyPairs == 0 && 2 * (eightBitBytes - pairs) >= pairs;
  }
};

class PairCounter {
 public:
  void AddAscii() { EndRun(); }

  void AddPair(bool isKana, bool isHigh, std::size_t eightBitBytes) {
    ++reading_.pairs;
    reading_.kana += isKana ? 1 : 0;
    reading_.highPairs += isHigh ? 1 : 0;
    reading_.eightBitBytes += eightBitBytes;
    ++run_;
    isPairLast_ = true;
  }

  void AddSingle(std::size_t eightBitBytes) {
    ++reading_.singles;
    reading_.eightBitBytes += eightBitBytes;
    ++run_;
    isPairLast_ = false;
  }

  void AddDamage() {
    EndRun();
    ++reading_.damaged;
    ++reading_.eightBitBytes;
  }

  PairReading Finish() {
    EndRun();
    return reading_;
  }

  [[nodiscard]] const PairReading& reading() const { return reading_; }

 private:
  void EndRun() {
    if (run_ == 1 && isPairLast_) ++reading_.lonelyPairs;
    run_ = 0;
  }

  PairReading reading_;
  std::size_t run_ = 0;  // characters beyond ASCII that stand together
  bool isPairLast_ = false;
};

// Whether a pair is a character that mails may have: those of users' own are in no mail.
bool IsAssigned(unsigned char lead, unsigned char trail) {
  const bool isPrivate = lead >= 0xF0 && lead <= 0xF9;
  return !isPrivate && PreferredCode932(static_cast<Code932>(lead << 8 | trail)) != 0;
}

bool IsKana932(unsigned char lead, unsigned char trail) {
  return (lead == 0x82 && trail >= 0x9F && trail <= 0xF1) ||
         (lead == 0x83 && trail >= 0x40 && trail <= 0x96);
}

// Ends with the first damage.
PairReading ReadAsCodePage932(std::string_view bytes) {
  PairCounter counter;
  for (std::size_t i = 0; i < bytes.size() && counter.reading().damaged == 0; ++i) {
    const unsigned char byte = ToByte(bytes[i]);
    const unsigned char next = i + 1 < bytes.size() ? ToByte(bytes[i + 1]) : 0;
    if (byte < 0x80) {
      counter.AddAscii();
    } else if (byte >= 0xA1 && byte <= 0xDF) {
      counter.AddSingle(1);
    } else if (IsLeadByte(byte) && IsAssigned(byte, next)) {
      counter.AddPair(IsKana932(byte, next), byte >= 0xE0, next >= 0x80 ? 2 : 1);
      ++i;
    } else {
      counter.AddDamage();
    }
  }
  return counter.Finish();
}

constexpr bool IsEucByte(unsigned char byte) {
  return byte >= 0xA1 && byte <= 0xFE;
}

// The size of the character at the front of `bytes`; 0 where none begins.
std::size_t EucSize(std::string_view bytes) {
  const auto at = [&](std::size_t i) { return i < bytes.size() ? ToByte(bytes[i]) : 0u; };
  if (at(0) < 0x80) return 1;
  if (at(0) == 0x8E) return at(1) >= 0xA1 && at(1) <= 0xDF ? 2 : 0;
  const std::size_t size = at(0) == 0x8F ? 3 : 2;
  if (size == 2 && (at(0) < 0xA1 || at(0) > 0xFE)) return 0;
  for (std::size_t i = 1; i < size; ++i) {
    if (!IsEucByte(static_cast<unsigned char>(at(i)))) return 0;
  }
  return size;
}

// Ends after `maxDamage` bytes of damage.
PairReading ReadAsEucJp(std::string_view bytes, std::size_t maxDamage) {
  PairCounter counter;
  while (!bytes.empty() && counter.reading().damaged <= maxDamage) {
    const unsigned char first = ToByte(bytes.front());
    const std::size_t size = EucSize(bytes);
    if (size == 0) {
      counter.AddDamage();
    } else if (first < 0x80) {
      counter.AddAscii();
    } else {
      counter.AddPair(first == 0xA4 || first == 0xA5, true, size);
    }
    bytes.remove_prefix(size == 0 ? 1 : size);
  }
  return counter.Finish();
}

PairReading ReadAsStrictEucJp(std::string_view bytes) {
  return ReadAsEucJp(bytes, 0);
}

bool IsLikelyEucJp(std::string_view bytes) {
  const PairReading reading = ReadAsStrictEucJp(bytes);
  return reading.damaged == 0 && reading.HasKana();
}

bool IsLikelyCodePage932(std::string_view bytes) {
  const PairReading reading = ReadAsCodePage932(bytes);
  return reading.damaged == 0 && (reading.HasKana() || reading.HasWords());
}

// Whether all that is beyond ASCII are letters with accents, one or two together, within words. No
// text in code page 932 is like that: single-byte katakana are no small letters there, and a lone
// kanji of the rarer half does not stand in a word.
bool IsLikelyWestern(std::string_view bytes) {
  constexpr std::size_t MAX_RUN = 2;
  const auto isSmall = [](char c) { return c >= 'a' && c <= 'z'; };
  bool hasAccent = false;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const std::size_t begin = i;
    for (; i < bytes.size() && !IsAscii(bytes[i]); ++i) {
      if (ToByte(bytes[i]) < 0xA0) return false;
    }
    if (i == begin) continue;
    if (i - begin > MAX_RUN) return false;
    const bool isInWord =
        (begin > 0 && isSmall(bytes[begin - 1])) || (i < bytes.size() && isSmall(bytes[i]));
    const bool isAccent = ToByte(bytes[i - 1]) >= 0xE0;
    if (isAccent && !isInWord) return false;
    hasAccent = hasAccent || isAccent;
  }
  return hasAccent;
}

// Kana whose number cannot be chance.
constexpr std::size_t SURE_KANA = 4;
constexpr std::size_t SURE_CHARACTERS = 4;

std::optional<Encoding> ContradictCodePage932(std::string_view bytes) {
  const Utf8Reading utf8 = ReadAsUtf8(bytes);
  const PairReading euc = ReadAsStrictEucJp(bytes);
  const bool mayBeEuc = euc.damaged == 0 && euc.HasKana();
  if (!utf8.IsLikely() && !mayBeEuc) return std::nullopt;
  // A kanji or two may by chance be one character of UTF-8, half-width commas kana of EUC-JP.
  const auto isDamaged = [&] { return ReadAsCodePage932(bytes).damaged > 0; };
  if (utf8.IsLikely() && (utf8.longCharacters >= 2 || isDamaged())) return Encoding::Utf8;
  if (mayBeEuc && (euc.kana >= SURE_KANA || isDamaged())) return Encoding::EucJp;
  return std::nullopt;
}

std::optional<Encoding> ContradictEucJp(std::string_view bytes) {
  constexpr std::size_t HOPELESS = 1000;
  const PairReading euc = ReadAsEucJp(bytes, HOPELESS);
  // One byte at the end may be half of a character.
  const bool isSound = euc.damaged <= 1 || euc.pairs >= CHARACTERS_AGAINST_DAMAGE * euc.damaged;
  if (isSound && euc.pairs > 0) return std::nullopt;
  if (ReadAsUtf8(bytes).IsLikely()) return Encoding::Utf8;
  if (IsLikelyCodePage932(bytes)) return Encoding::CodePage932;
  return std::nullopt;
}

std::optional<Encoding> ContradictUtf8(std::string_view bytes) {
  const Utf8Reading utf8 = ReadAsUtf8(bytes);
  if (utf8.IsLikely() || utf8.IsCutAfter(1)) return std::nullopt;
  if (IsLikelyEucJp(bytes)) return Encoding::EucJp;
  if (IsLikelyCodePage932(bytes)) return Encoding::CodePage932;
  if (IsLikelyWestern(bytes)) return Encoding::Western;
  return std::nullopt;
}

std::optional<Encoding> ContradictOther(std::string_view bytes, Label label) {
  const Utf8Reading utf8 = ReadAsUtf8(bytes);
  const bool isSure = utf8.longCharacters >= 2 || utf8.characters >= SURE_CHARACTERS;
  if (utf8.IsWhole() && (isSure || (label == Label::Western && utf8.IsNoWesternText()))) {
    return Encoding::Utf8;
  }
  if (label == Label::Western && utf8.longCharacters >= 2 && utf8.IsLikely()) return Encoding::Utf8;
  const PairReading pairs = ReadAsCodePage932(bytes);
  // The first bytes of kana are rare in every other set, and no letters.
  if (pairs.damaged == 0 && pairs.HasKana() && pairs.kana >= 2) return Encoding::CodePage932;
  const bool hasLettersOnly = pairs.singles + pairs.highPairs == 0;
  if (pairs.damaged == 0 && label == Label::Western && pairs.HasWords() && hasLettersOnly) {
    return Encoding::CodePage932;
  }
  // Chinese and Korean sets have letters of their own where EUC-JP has kana.
  if (label == Label::MultiByte) return std::nullopt;
  const PairReading euc = ReadAsStrictEucJp(bytes);
  if (euc.damaged == 0 && euc.HasKana() && euc.kana >= 2) return Encoding::EucJp;
  return std::nullopt;
}

}  // namespace

Encoding GuessEncoding(std::string_view bytes) {
  if (LooksLikeIso2022Jp(bytes)) return Encoding::Iso2022Jp;
  if (IsAscii(bytes)) return Encoding::CodePage932;
  if (const Utf8Reading utf8 = ReadAsUtf8(bytes); utf8.IsLikely()) {
    // Two kanji, the first one rare, may by chance be one character and a letter.
    const bool isSure = utf8.characters > 1 || utf8.longCharacters == 0 || utf8.marks > 0;
    return isSure || !IsLikelyCodePage932(bytes) ? Encoding::Utf8 : Encoding::CodePage932;
  }
  if (IsLikelyEucJp(bytes)) return Encoding::EucJp;
  return IsLikelyWestern(bytes) ? Encoding::Western : Encoding::CodePage932;
}

std::optional<Encoding> FindContradiction(std::string_view bytes, Label label) {
  if (IsAscii(bytes)) {
    return LooksLikeIso2022Jp(bytes) ? std::optional(Encoding::Iso2022Jp) : std::nullopt;
  }
  switch (label) {
    case Label::CodePage932:
      return ContradictCodePage932(bytes);
    case Label::EucJp:
      return ContradictEucJp(bytes);
    case Label::Utf8:
      return ContradictUtf8(bytes);
    default:
      return ContradictOther(bytes, label);
  }
}

}  // namespace nimport::text
