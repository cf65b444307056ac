#include "mime/transfer_encoding.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

#include "mime/header_block.h"
#include "text/ascii.h"

namespace nimport::mime {
namespace {

constexpr std::string_view BASE64_DIGITS =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t NO_DIGIT = 0xFF;
// They fill a line of 76 characters.
constexpr std::size_t BYTES_A_LINE = 57;
constexpr std::string_view LINE_END = "\r\n";

// The values of base64's characters by byte.
constexpr std::array<std::uint8_t, 256> BASE64_VALUES = [] {
  std::array<std::uint8_t, 256> values{};
  values.fill(NO_DIGIT);
  for (std::size_t i = 0; i < BASE64_DIGITS.size(); ++i) {
    values[static_cast<unsigned char>(BASE64_DIGITS[i])] = static_cast<std::uint8_t>(i);
  }
  return values;
}();

std::uint8_t Base64Value(char character) {
  return BASE64_VALUES[static_cast<unsigned char>(character)];
}

// The `size` first bytes of a group of four 6-bit values.
char* PutGroup(std::uint32_t group, std::size_t size, char* out) {
  for (std::size_t i = 0; i < size; ++i)
    *out++ = static_cast<char>(group >> (16 - 8 * i));
  return out;
}

// Takes digits off the front of `text` as long as four stand together. `out` has room for `room`
// bytes.
char* TakeWholeGroups(std::string_view& text, char* out, std::size_t room) {
  const char* in = text.data();
  for (std::size_t left = std::min(text.size() / 4, room / 3); left > 0; --left, in += 4) {
    const std::uint32_t a = Base64Value(in[0]), b = Base64Value(in[1]);
    const std::uint32_t c = Base64Value(in[2]), d = Base64Value(in[3]);
    // No digit's value has the bits of NO_DIGIT beyond the sixth.
    if ((a | b | c | d) > 0x3F) break;
    out[0] = static_cast<char>(a << 2 | b >> 4);
    out[1] = static_cast<char>(b << 4 | c >> 2);
    out[2] = static_cast<char>(c << 6 | d);
    out += 3;
  }
  text.remove_prefix(static_cast<std::size_t>(in - text.data()));
  return out;
}

// The byte that the escape at the start of `text` stands for; -1 where none begins.
int EscapedByte(std::string_view text) {
  if (text.size() < 3) return -1;
  const int high = text::HexDigit(text[1]);
  const int low = text::HexDigit(text[2]);
  return high < 0 || low < 0 ? -1 : high << 4 | low;
}

// The size of the soft line end that begins with the '=' at the start of `text`; 0 where it begins
// none. The end of the text counts as a line end.
std::size_t SoftLineEndSize(std::string_view text) {
  const std::size_t size = std::min(text.find_first_not_of(" \t", 1), text.size());
  const std::string_view rest = text.substr(size);
  if (rest.empty()) return size;
  if (rest.starts_with("\r\n")) return size + 2;
  return rest.starts_with('\n') ? size + 1 : 0;
}

constexpr std::uint32_t UuValue(char character) {
  return static_cast<std::uint32_t>((character - ' ') & 0x3F);
}

// What stands after the line that begins uuencoded data, which may have been folded within the
// name; all of it when there is no such line.
std::string_view AfterBeginLine(std::string_view encoded) {
  constexpr std::string_view BEGIN = "begin ";
  for (std::string_view rest = encoded; !rest.empty();) {
    if (!TakeLine(rest).starts_with(BEGIN)) continue;
    while (rest.starts_with(' ') || rest.starts_with('\t'))
      (void)TakeLine(rest);
    return rest;
  }
  return encoded;
}

struct UuLine {
  std::size_t size = 0;     // in bytes, when they are decoded
  std::string_view digits;  // four for three bytes; blanks at the end may be missing
};

// Takes a line off the front of `text`. The one that ends the data takes all that follows with it.
UuLine TakeUuLine(std::string_view& text) {
  std::string_view line = TakeLine(text);
  if (line.ends_with('\n')) line.remove_suffix(1);
  if (line.ends_with('\r')) line.remove_suffix(1);
  if (line.empty()) return {};
  const std::size_t size = UuValue(line.front());
  if (size == 0 || line == "end") {
    text = {};
    return {};
  }
  return {size, line.substr(1)};
}

char* PutUuLine(const UuLine& line, char* out) {
  const auto value = [&](std::size_t i) {
    return i < line.digits.size() ? UuValue(line.digits[i]) : 0;
  };
  for (std::size_t i = 0, left = line.size; left > 0; i += 4) {
    const std::size_t size = std::min<std::size_t>(left, 3);
    const std::uint32_t group =
        value(i) << 18 | value(i + 1) << 12 | value(i + 2) << 6 | value(i + 3);
    out = PutGroup(group, size, out);
    left -= size;
  }
  return out;
}

// `bytes` in base64, padded.
char* PutBase64(std::string_view bytes, char* out) {
  const auto byteAt = [&](std::size_t i) {
    return i < bytes.size() ? std::uint32_t{static_cast<unsigned char>(bytes[i])} : 0;
  };
  for (std::size_t i = 0; i < bytes.size(); i += 3, out += 4) {
    const std::uint32_t group = byteAt(i) << 16 | byteAt(i + 1) << 8 | byteAt(i + 2);
    out[0] = BASE64_DIGITS[group >> 18];
    out[1] = BASE64_DIGITS[group >> 12 & 0x3F];
    out[2] = i + 1 < bytes.size() ? BASE64_DIGITS[group >> 6 & 0x3F] : '=';
    out[3] = i + 2 < bytes.size() ? BASE64_DIGITS[group & 0x3F] : '=';
  }
  return out;
}

// Gathers a line of quoted-printable text and breaks it where it would become too long.
class QuotedPrintableWriter {
 public:
  explicit QuotedPrintableWriter(std::size_t expectedBytes) { out_.reserve(expectedBytes); }

  // `piece` is one character, or an escape of three that stays whole.
  void Put(std::string_view piece) {
    // One character is left for the '=' of a soft line end.
    if (column_ + piece.size() >= MAX_LINE) EndLine("=\r\n");
    out_ += piece;
    column_ += piece.size();
  }

  void PutEscape(char byte) {
    constexpr std::string_view DIGITS = "0123456789ABCDEF";
    const auto value = static_cast<unsigned char>(byte);
    const char escape[] = {'=', DIGITS[value >> 4], DIGITS[value & 0xF]};
    Put({escape, 3});
  }

  void EndLine(std::string_view end) {
    out_ += end;
    column_ = 0;
  }

  std::string Finish() { return std::move(out_); }

 private:
  static constexpr std::size_t MAX_LINE = 76;

  std::string out_;
  std::size_t column_ = 0;
};

}  // namespace

TransferEncoding FindTransferEncoding(std::string_view value) {
  struct Name {
    std::string_view name;
    TransferEncoding encoding;
  };
  static constexpr Name NAMES[] = {
      {"base64", TransferEncoding::Base64},
      {"quoted-printable", TransferEncoding::QuotedPrintable},
      {"uuencode", TransferEncoding::Uuencode},
      {"x-uuencode", TransferEncoding::Uuencode},
      {"x-uue", TransferEncoding::Uuencode},
  };
  value = text::Trim(value.substr(0, value.find(';')));
  const Name* const found = std::ranges::find_if(
      NAMES, [&](const Name& name) { return text::EqualsIgnoringCase(name.name, value); });
  return found == std::end(NAMES) ? TransferEncoding::Identity : found->encoding;
}

TransferDecoder::TransferDecoder(TransferEncoding encoding, std::string_view encoded)
    : encoding_(encoding),
      rest_(encoding == TransferEncoding::Uuencode ? AfterBeginLine(encoded) : encoded) {}

std::size_t TransferDecoder::MaxSize() const {
  switch (encoding_) {
    case TransferEncoding::Base64:
      return rest_.size() / 4 * 3 + 3;
    case TransferEncoding::Uuencode: {
      // A line may have many more bytes than characters, so they are counted.
      std::size_t size = 0;
      for (std::string_view rest = rest_; !rest.empty();)
        size += TakeUuLine(rest).size;
      return size;
    }
    default:
      return rest_.size();
  }
}

std::size_t TransferDecoder::Read(std::span<char> out) {
  switch (encoding_) {
    case TransferEncoding::Base64:
      return ReadBase64(out);
    case TransferEncoding::QuotedPrintable:
      return ReadQuotedPrintable(out);
    case TransferEncoding::Uuencode:
      return ReadUuencode(out);
    default:
      break;
  }
  const std::size_t size = std::min(out.size(), rest_.size());
  std::ranges::copy(rest_.substr(0, size), out.data());
  rest_.remove_prefix(size);
  return size;
}

std::size_t TransferDecoder::ReadBase64(std::span<char> out) {
  char* at = out.data();
  const char* const end = at + out.size();
  while (!rest_.empty() && end - at >= 3) {
    at = TakeWholeGroups(rest_, at, static_cast<std::size_t>(end - at));
    if (end - at < 3) break;
    // One group with something else before or between its digits, or cut short.
    std::uint32_t group = 0;
    std::size_t digits = 0;
    for (; digits < 4 && !rest_.empty(); rest_.remove_prefix(1)) {
      const std::uint8_t value = Base64Value(rest_.front());
      if (value != NO_DIGIT) {
        group = group << 6 | value;
        ++digits;
      } else if (rest_.front() == '=' && digits >= 2) {
        break;  // padding; elsewhere '=' is one more stray character
      }
    }
    if (digits >= 2) at = PutGroup(group << 6 * (4 - digits), digits - 1, at);
    if (digits < 4) rest_ = {};
  }
  return static_cast<std::size_t>(at - out.data());
}

std::size_t TransferDecoder::ReadQuotedPrintable(std::span<char> out) {
  char* at = out.data();
  const char* const end = at + out.size();
  while (!rest_.empty() && at != end) {
    if (rest_.front() != '=') {
      const std::string_view ahead = rest_.substr(0, static_cast<std::size_t>(end - at));
      const std::string_view plain = ahead.substr(0, ahead.find('='));
      at = std::ranges::copy(plain, at).out;
      rest_.remove_prefix(plain.size());
    } else if (const int byte = EscapedByte(rest_); byte >= 0) {
      *at++ = static_cast<char>(byte);
      rest_.remove_prefix(3);
    } else if (const std::size_t size = SoftLineEndSize(rest_); size > 0) {
      rest_.remove_prefix(size);
    } else {
      *at++ = '=';
      rest_.remove_prefix(1);
    }
  }
  return static_cast<std::size_t>(at - out.data());
}

std::size_t TransferDecoder::ReadUuencode(std::span<char> out) {
  char* at = out.data();
  const char* const end = at + out.size();
  while (!rest_.empty() && static_cast<std::size_t>(end - at) >= MIN_ROOM)
    at = PutUuLine(TakeUuLine(rest_), at);
  return static_cast<std::size_t>(at - out.data());
}

std::string DecodeTransfer(TransferEncoding encoding, std::string_view encoded) {
  TransferDecoder decoder(encoding, encoded);
  std::string decoded;
  std::array<char, 16384> piece;
  while (const std::size_t size = decoder.Read(piece))
    decoded.append(piece.data(), size);
  return decoded;
}

std::string EncodeBase64Line(std::string_view bytes) {
  std::string out((bytes.size() + 2) / 3 * 4, '\0');
  PutBase64(bytes, out.data());
  return out;
}

std::size_t Base64Encoder::Size() const {
  const std::size_t lines = (rest_.size() + BYTES_A_LINE - 1) / BYTES_A_LINE;
  return (rest_.size() + 2) / 3 * 4 + LINE_END.size() * lines;
}

std::size_t Base64Encoder::Read(std::span<char> out) {
  char* at = out.data();
  const char* const end = at + out.size();
  while (!rest_.empty() && static_cast<std::size_t>(end - at) >= MIN_ROOM) {
    at = PutBase64(rest_.substr(0, BYTES_A_LINE), at);
    at = std::ranges::copy(LINE_END, at).out;
    rest_.remove_prefix(std::min(rest_.size(), BYTES_A_LINE));
  }
  return static_cast<std::size_t>(at - out.data());
}

std::string EncodeBase64Lines(std::string_view bytes) {
  Base64Encoder encoder(bytes);
  std::string out(encoder.Size() + Base64Encoder::MIN_ROOM, '\0');
  out.resize(encoder.Read(out));
  return out;
}

std::string EncodeQuotedPrintable(std::string_view text) {
  QuotedPrintableWriter writer(text.size() + text.size() / 4);
  while (!text.empty()) {
    std::string_view line = TakeLine(text);
    const bool hasLineEnd = line.ends_with('\n');
    if (hasLineEnd) line.remove_suffix(line.ends_with("\r\n") ? 2 : 1);
    for (std::size_t i = 0; i < line.size(); ++i) {
      const bool isBlank = line[i] == ' ' || line[i] == '\t';
      const bool isPlain =
          isBlank ? i + 1 < line.size() : line[i] > ' ' && line[i] < '\x7F' && line[i] != '=';
      if (isPlain) {
        writer.Put(line.substr(i, 1));
      } else {
        writer.PutEscape(line[i]);
      }
    }
    if (hasLineEnd) writer.EndLine(LINE_END);
  }
  return writer.Finish();
}

}  // namespace nimport::mime
