#include "text/japanese.h"

#include <array>

#include "text/code_page_932.h"
#include "text/jis_code.h"

namespace nimport::text {
namespace {

constexpr unsigned char ESCAPE = 0x1B;
constexpr unsigned char SHIFT_OUT = 0x0E;
constexpr unsigned char SHIFT_IN = 0x0F;
constexpr unsigned char SINGLE_SHIFT_2 = 0x8E;
constexpr unsigned char SINGLE_SHIFT_3 = 0x8F;

enum class CharacterSet { Ascii, Katakana, JisX0208, JisX0212, OtherDoubleByte };

struct Designation {
  std::string_view sequence;  // after the escape byte
  CharacterSet set;
};

// No sequence here is the beginning of another.
constexpr std::array DESIGNATIONS = std::to_array<Designation>({
    {"$B", CharacterSet::JisX0208},          // JIS X 0208 of 1983
    {"$@", CharacterSet::JisX0208},          // JIS C 6226 of 1978
    {"(B", CharacterSet::Ascii},             //
    {"(J", CharacterSet::Ascii},             // JIS X 0201 Roman
    {"(H", CharacterSet::Ascii},             // a Swedish set that old programs wrote for it
    {"(I", CharacterSet::Katakana},          // JIS X 0201 katakana
    {"$(B", CharacterSet::JisX0208},         //
    {"$(@", CharacterSet::JisX0208},         //
    {"$(D", CharacterSet::JisX0212},         //
    {"$(O", CharacterSet::JisX0208},         // JIS X 0213 plane 1, a superset
    {"$(Q", CharacterSet::JisX0208},         // the same of 2004
    {"$(P", CharacterSet::OtherDoubleByte},  // JIS X 0213 plane 2
    {"$A", CharacterSet::OtherDoubleByte},   // GB 2312
    {"$(A", CharacterSet::OtherDoubleByte},  //
    {"$(C", CharacterSet::OtherDoubleByte},  // KS C 5601
    {"&@\x1B$B", CharacterSet::JisX0208},    // JIS X 0208 of 1990
});

// The designation that stands after an escape byte, or null.
const Designation* FindDesignation(std::string_view afterEscape) {
  for (const Designation& designation : DESIGNATIONS) {
    if (afterEscape.starts_with(designation.sequence)) return &designation;
  }
  return nullptr;
}

class Iso2022JpDecoder {
 public:
  explicit Iso2022JpDecoder(std::string_view bytes) : bytes_(bytes) {
    result_.reserve(bytes.size());
  }

  std::string Decode() {
    while (position_ < bytes_.size())
      DecodeNext();
    return std::move(result_);
  }

 private:
  [[nodiscard]] unsigned char At(std::size_t position) const {
    return position < bytes_.size() ? static_cast<unsigned char>(bytes_[position]) : 0;
  }

  void DecodeNext() {
    const unsigned char byte = At(position_);
    if (byte == ESCAPE) {
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

  void TakePlain() { result_ += bytes_[position_++]; }

  void TakeEscape() {
    const Designation* designation = FindDesignation(bytes_.substr(position_ + 1));
    if (designation == nullptr) return TakePlain();
    set_ = designation->set;
    isShiftedOut_ = false;
    position_ += 1 + designation->sequence.size();
  }

  void TakeKatakana(unsigned char byte) {
    if (byte >= 0x21 && byte <= 0x5F) {
      result_ += static_cast<char>(byte + 0x80);
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
    AppendCode932(isPair ? CodeAt(place) : Code932{0}, result_);
    position_ += isPair ? 2 : 1;
  }

  [[nodiscard]] Code932 CodeAt(JisPlace place) const {
    if (set_ == CharacterSet::JisX0208) return CodeFromJisX0208(place);
    return set_ == CharacterSet::JisX0212 ? CodeFromJisX0212(place) : Code932{0};
  }

  std::string_view bytes_;
  std::size_t position_ = 0;
  CharacterSet set_ = CharacterSet::Ascii;
  bool isShiftedOut_ = false;
  std::string result_;
};

bool IsEucByte(unsigned char byte) {
  return byte >= 0xA1 && byte <= 0xFE;
}

// Takes one character off the front of `bytes`, which is not empty.
Code932 TakeEucCharacter(std::string_view& bytes) {
  const auto at = [&](std::size_t i) {
    return i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : static_cast<unsigned char>(0);
  };
  Code932 code = 0;
  std::size_t size = 1;
  if (at(0) < 0x80) {
    code = at(0);
  } else if (IsEucByte(at(0)) && IsEucByte(at(1))) {
    code = CodeFromJisX0208({at(0) - 0xA0u, at(1) - 0xA0u});
    size = 2;
  } else if (at(0) == SINGLE_SHIFT_2 && at(1) >= 0xA1 && at(1) <= 0xDF) {
    code = at(1);
    size = 2;
  } else if (at(0) == SINGLE_SHIFT_3 && IsEucByte(at(1)) && IsEucByte(at(2))) {
    code = CodeFromJisX0212({at(1) - 0xA0u, at(2) - 0xA0u});
    size = 3;
  }
  bytes.remove_prefix(size);
  return code;
}

}  // namespace

std::string CodePage932FromIso2022Jp(std::string_view bytes) {
  return Iso2022JpDecoder(bytes).Decode();
}

std::string CodePage932FromEucJp(std::string_view bytes) {
  std::string result;
  result.reserve(bytes.size());
  while (!bytes.empty()) {
    if (bytes.front() == '\0') {
      result += '\0';
      bytes.remove_prefix(1);
    } else {
      AppendCode932(TakeEucCharacter(bytes), result);
    }
  }
  return result;
}

bool LooksLikeIso2022Jp(std::string_view bytes) {
  std::size_t escape = bytes.find(static_cast<char>(ESCAPE));
  while (escape != std::string_view::npos) {
    const Designation* designation = FindDesignation(bytes.substr(escape + 1));
    // "(B" alone says nothing: it is ASCII in every ISO 2022 encoding.
    if (designation != nullptr && designation->set != CharacterSet::Ascii &&
        designation->set != CharacterSet::OtherDoubleByte) {
      return true;
    }
    escape = bytes.find(static_cast<char>(ESCAPE), escape + 1);
  }
  return false;
}

}  // namespace nimport::text
