#include "text/japanese.h"

#include <array>
#include <map>
#include <optional>
#include <utility>

#include "text/code_page_932.h"
#include "text/jis_code.h"
#include "text/system_charset.h"
#include "text/utf16.h"

namespace nimport::text {
namespace {

constexpr char ESCAPE = 0x1B;
constexpr unsigned char SHIFT_OUT = 0x0E;
constexpr unsigned char SHIFT_IN = 0x0F;
constexpr unsigned char SINGLE_SHIFT_2 = 0x8E;
constexpr char SINGLE_SHIFT_3 = '\x8F';
constexpr unsigned LAST_STANDARD_ROW = 94;

enum class CharacterSet {
  Ascii,
  Katakana,
  JisX0208,
  JisX0212,
  JisX0213,        // plane 1, a superset of JIS X 0208
  JisX0213Plane2,  //
  Gb2312,
  KsC5601,
  Latin1,  // the upper half of ISO 8859-1, from which single characters are taken
  Greek,   // that of ISO 8859-7
};

struct Designation {
  std::string_view sequence;  // after the escape byte
  CharacterSet set;
};

// No sequence here is the beginning of another.
constexpr std::array DESIGNATIONS = std::to_array<Designation>({
    {"$B", CharacterSet::JisX0208},         // JIS X 0208 of 1983
    {"$@", CharacterSet::JisX0208},         // JIS C 6226 of 1978
    {"(B", CharacterSet::Ascii},            //
    {"(J", CharacterSet::Ascii},            // JIS X 0201 Roman
    {"(H", CharacterSet::Ascii},            // a Swedish set that old programs wrote for it
    {"(I", CharacterSet::Katakana},         // JIS X 0201 katakana
    {"$(B", CharacterSet::JisX0208},        //
    {"$(@", CharacterSet::JisX0208},        //
    {"$(D", CharacterSet::JisX0212},        //
    {"$(O", CharacterSet::JisX0213},        // of 2000
    {"$(Q", CharacterSet::JisX0213},        // of 2004
    {"$(P", CharacterSet::JisX0213Plane2},  //
    {"$A", CharacterSet::Gb2312},           //
    {"$(A", CharacterSet::Gb2312},          //
    {"$(C", CharacterSet::KsC5601},         //
    {".A", CharacterSet::Latin1},           //
    {".F", CharacterSet::Greek},            //
    {"&@\x1B$B", CharacterSet::JisX0208},   // JIS X 0208 of 1990
});

// Whether only Japanese text designates the set.
bool IsJapanese(CharacterSet set) {
  switch (set) {
    case CharacterSet::Katakana:
    case CharacterSet::JisX0208:
    case CharacterSet::JisX0212:
    case CharacterSet::JisX0213:
    case CharacterSet::JisX0213Plane2:
      return true;
    default:
      return false;
  }
}

// The designation that stands after an escape byte, or null.
const Designation* FindDesignation(std::string_view afterEscape) {
  for (const Designation& designation : DESIGNATIONS) {
    if (afterEscape.starts_with(designation.sequence)) return &designation;
  }
  return nullptr;
}

// Text as it is put together. What code page 932 has goes through it in pieces, since most text is
// nothing else.
class Output {
 public:
  Output(JapaneseForm form, std::size_t expectedBytes) : form_(form) {
    pending_.reserve(expectedBytes);
  }

  // Bytes in code page 932.
  void AddBytes(std::string_view bytes) { pending_ += bytes; }

  // 0 stands for none.
  void Add(Code932 code) {
    if (code == 0) return AddDamage();
    AppendCode932(code, pending_);
  }

  void AddUnicode(std::u16string_view characters) {
    if (form_ == JapaneseForm::CodePage932) {
      pending_ += CodePage932FromUtf8(Utf8FromUtf16(characters));
    } else {
      Flush();
      result_ += Utf8FromUtf16(characters);
    }
  }

  void AddDamage() {
    if (form_ == JapaneseForm::CodePage932) {
      pending_ += '?';
    } else {
      AddUnicode(u"\uFFFD");
    }
  }

  std::string Finish() {
    if (form_ == JapaneseForm::CodePage932) return std::move(pending_);
    Flush();
    return std::move(result_);
  }

 private:
  void Flush() {
    result_ += Utf8FromCodePage932(pending_);
    pending_.clear();
  }

  JapaneseForm form_;
  std::string pending_;  // in code page 932
  std::string result_;   // in UTF-8, before that
};

// Sets of which only the system has tables.
class SystemSets {
 public:
  // The character at a place; empty where there is none or the system does not know the set.
  [[nodiscard]] std::u16string Find(CharacterSet set, JisPlace place) {
    if (place.row > LAST_STANDARD_ROW) return {};
    const char pair[] = {SINGLE_SHIFT_3, ToHighByte(place.row), ToHighByte(place.cell)};
    const bool isPlane2 = set == CharacterSet::JisX0213Plane2;
    return Convert(NameOf(set), std::string_view(pair, sizeof pair).substr(isPlane2 ? 0 : 1));
  }

  [[nodiscard]] std::u16string FindSingle(CharacterSet set, unsigned char byte) {
    const char character = static_cast<char>(byte | 0x80);
    return Convert(NameOf(set), {&character, 1});
  }

 private:
  static char ToHighByte(unsigned number) { return static_cast<char>(0xA0 + number); }

  static const char* NameOf(CharacterSet set) {
    switch (set) {
      case CharacterSet::Gb2312:
        return "GBK";
      case CharacterSet::KsC5601:
        return "CP949";
      case CharacterSet::Latin1:
        return "ISO-8859-1";
      case CharacterSet::Greek:
        return "ISO-8859-7";
      default:
        return "EUC-JISX0213";
    }
  }

  std::u16string Convert(const char* name, std::string_view bytes) {
    auto found = opened_.find(name);
    if (found == opened_.end()) found = opened_.emplace(name, SystemCharset::Open(name)).first;
    if (!found->second) return {};
    return found->second->DecodeStrict(bytes).value_or(u"");
  }

  std::map<std::string_view, std::optional<SystemCharset>> opened_;
};

class Iso2022JpDecoder {
 public:
  Iso2022JpDecoder(std::string_view bytes, JapaneseForm form)
      : bytes_(bytes), output_(form, bytes.size()) {}

  std::string Decode() {
    while (position_ < bytes_.size())
      DecodeNext();
    return output_.Finish();
  }

 private:
  [[nodiscard]] unsigned char At(std::size_t position) const {
    return position < bytes_.size() ? static_cast<unsigned char>(bytes_[position]) : 0;
  }

  void DecodeNext() {
    const unsigned char byte = At(position_);
    if (bytes_[position_] == ESCAPE) {
      TakeEscape();
    } else if (byte == SHIFT_OUT || byte == SHIFT_IN) {
      isShiftedOut_ = byte == SHIFT_OUT;
      ++position_;
    } else if (byte <= 0x20) {
      if (byte == '\n' || byte == '\r') ReturnToAscii();
      TakePlain();
    } else if (isShiftedOut_ || set_ == CharacterSet::Katakana) {
      TakeKatakana(byte);
    } else if (set_ == CharacterSet::Ascii) {
      TakeSingleByteState(byte);
    } else {
      TakeDoubleByte(byte);
    }
  }

  void ReturnToAscii() {
    set_ = CharacterSet::Ascii;
    isShiftedOut_ = false;
  }

  void TakePlain() { output_.AddBytes(bytes_.substr(position_++, 1)); }

  void TakeEscape() {
    // One character of the set that was named for it.
    const bool isSingleShift = At(position_ + 1) == 'N' && singles_ && At(position_ + 2) > 0x1F;
    if (isSingleShift) {
      AddFound(systemSets_.FindSingle(*singles_, At(position_ + 2)));
      position_ += 3;
      return;
    }
    const Designation* designation = FindDesignation(bytes_.substr(position_ + 1));
    if (designation == nullptr) return TakePlain();
    position_ += 1 + designation->sequence.size();
    if (designation->set == CharacterSet::Latin1 || designation->set == CharacterSet::Greek) {
      singles_ = designation->set;
      return;
    }
    set_ = designation->set;
    isShiftedOut_ = false;
  }

  void TakeKatakana(unsigned char byte) {
    if (byte >= 0x21 && byte <= 0x5F) {
      output_.Add(static_cast<Code932>(byte + 0x80));
      ++position_;
    } else {
      TakeSingleByteState(byte);
    }
  }

  // Eight-bit bytes have no meaning here; the programs that wrote them meant code page 932.
  void TakeSingleByteState(unsigned char byte) {
    const bool isPair = IsLeadByte(byte) && At(position_ + 1) >= 0x40;
    TakePlain();
    if (isPair) TakePlain();
  }

  void TakeDoubleByte(unsigned char byte) {
    const unsigned char second = At(position_ + 1);
    const bool hasHighBits = byte >= 0xA1 && second >= 0xA1;
    const JisPlace place = hasHighBits ? JisPlace{byte - 0xA0u, second - 0xA0u}
                                       : JisPlace{byte - 0x20u, second - 0x20u};
    // A pair that is none (cut by a line end or an escape) costs one byte, so that what follows
    // is still understood.
    const bool isPair = second > 0x20 && place.cell <= LAST_JIS_CELL;
    if (isPair) {
      AddCharacter(place);
    } else {
      output_.AddDamage();
    }
    position_ += isPair ? 2 : 1;
  }

  void AddCharacter(JisPlace place) {
    if (set_ == CharacterSet::JisX0208) return output_.Add(CodeFromJisX0208(place));
    if (set_ == CharacterSet::JisX0212) {
      const char16_t character = UnicodeFromJisX0212(place);
      return AddFound({&character, character == 0 ? 0u : 1u});
    }
    const std::u16string character = systemSets_.Find(set_, place);
    if (character.empty() && set_ == CharacterSet::JisX0213) {
      output_.Add(CodeFromJisX0208(place));
    } else {
      AddFound(character);
    }
  }

  void AddFound(std::u16string_view character) {
    if (character.empty()) return output_.AddDamage();
    output_.AddUnicode(character);
  }

  std::string_view bytes_;
  std::size_t position_ = 0;
  CharacterSet set_ = CharacterSet::Ascii;
  std::optional<CharacterSet> singles_;
  bool isShiftedOut_ = false;
  SystemSets systemSets_;
  Output output_;
};

bool IsEucByte(unsigned char byte) {
  return byte >= 0xA1 && byte <= 0xFE;
}

// Takes one character off the front of `bytes`, which is not empty.
void TakeEucCharacter(std::string_view& bytes, Output& output) {
  const auto at = [&](std::size_t i) {
    return i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : static_cast<unsigned char>(0);
  };
  std::size_t size = 1;
  if (at(0) < 0x80) {
    output.AddBytes(bytes.substr(0, 1));
  } else if (IsEucByte(at(0)) && IsEucByte(at(1))) {
    output.Add(CodeFromJisX0208({at(0) - 0xA0u, at(1) - 0xA0u}));
    size = 2;
  } else if (at(0) == SINGLE_SHIFT_2 && at(1) >= 0xA1 && at(1) <= 0xDF) {
    output.Add(at(1));
    size = 2;
  } else if (bytes[0] == SINGLE_SHIFT_3 && IsEucByte(at(1)) && IsEucByte(at(2))) {
    const char16_t character = UnicodeFromJisX0212({at(1) - 0xA0u, at(2) - 0xA0u});
    if (character == 0) {
      output.AddDamage();
    } else {
      output.AddUnicode({&character, 1});
    }
    size = 3;
  } else {
    output.AddDamage();
  }
  bytes.remove_prefix(size);
}

}  // namespace

std::string DecodeIso2022Jp(std::string_view bytes, JapaneseForm form) {
  return Iso2022JpDecoder(bytes, form).Decode();
}

std::string DecodeEucJp(std::string_view bytes, JapaneseForm form) {
  Output output(form, bytes.size());
  while (!bytes.empty())
    TakeEucCharacter(bytes, output);
  return output.Finish();
}

std::string JoinIso2022JpPieces(std::string_view bytes, std::span<const std::size_t> starts) {
  const auto isAscii = [&](std::size_t escape) {
    if (escape == std::string_view::npos) return false;
    const Designation* const designation = FindDesignation(bytes.substr(escape + 1));
    return designation != nullptr && designation->set == CharacterSet::Ascii;
  };
  std::string joined;
  std::size_t copied = 0;
  std::size_t before = std::string_view::npos;  // the last escape before a piece
  std::size_t after = bytes.find(ESCAPE);       // and the first one after that
  for (const std::size_t start : starts) {
    for (; after < start; after = bytes.find(ESCAPE, after + 1))
      before = after;
    const bool isOpen = before != std::string_view::npos && !isAscii(before);
    if (!isOpen || isAscii(after)) continue;
    joined.append(bytes.substr(copied, start - copied)).append("\x1B(B");
    copied = start;
  }
  return joined.append(bytes.substr(copied));
}

bool LooksLikeIso2022Jp(std::string_view bytes) {
  std::size_t escape = bytes.find(static_cast<char>(ESCAPE));
  while (escape != std::string_view::npos) {
    const Designation* designation = FindDesignation(bytes.substr(escape + 1));
    // "(B" alone says nothing: it is ASCII in every ISO 2022 encoding.
    if (designation != nullptr && IsJapanese(designation->set)) return true;
    escape = bytes.find(static_cast<char>(ESCAPE), escape + 1);
  }
  return false;
}

}  // namespace nimport::text
