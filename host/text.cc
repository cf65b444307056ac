#include "host/text.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <stdexcept>

#include <iconv.h>

namespace nimport::host {

namespace {

constexpr char32_t REPLACEMENT = 0xFFFD;

void AppendUtf8(char32_t character, std::string& out) {
  const auto continuation = [&](int shift) {
    out.push_back(static_cast<char>(0x80 | ((character >> shift) & 0x3F)));
  };
  if (character < 0x80) {
    out.push_back(static_cast<char>(character));
  } else if (character < 0x800) {
    out.push_back(static_cast<char>(0xC0 | (character >> 6)));
    continuation(0);
  } else if (character < 0x10000) {
    out.push_back(static_cast<char>(0xE0 | (character >> 12)));
    continuation(6);
    continuation(0);
  } else {
    out.push_back(static_cast<char>(0xF0 | (character >> 18)));
    continuation(12);
    continuation(6);
    continuation(0);
  }
}

bool IsHighSurrogate(char32_t unit) {
  return unit >= 0xD800 && unit < 0xDC00;
}
bool IsLowSurrogate(char32_t unit) {
  return unit >= 0xDC00 && unit < 0xE000;
}

// A converter of the C library; closed when destroyed.
class Converter {
 public:
  Converter(const char* to, const char* from) : handle_(iconv_open(to, from)) {
    if (handle_ == reinterpret_cast<iconv_t>(-1)) {
      throw std::runtime_error(std::string("this system cannot convert text from ") + from);
    }
  }
  ~Converter() { iconv_close(handle_); }
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;

  // Converts as much of `rest` as is sound, appends it to `out` and removes it from `rest`.
  void Convert(std::string_view& rest, std::string& out) const {
    iconv(handle_, nullptr, nullptr, nullptr, nullptr);
    std::array<char, 4096> buffer;
    auto* input = const_cast<char*>(rest.data());
    std::size_t inputLeft = rest.size();
    bool isBufferFull = true;
    while (inputLeft > 0 && isBufferFull) {
      char* output = buffer.data();
      std::size_t outputLeft = buffer.size();
      const std::size_t result = iconv(handle_, &input, &inputLeft, &output, &outputLeft);
      isBufferFull = result == static_cast<std::size_t>(-1) && errno == E2BIG;
      out.append(buffer.data(), buffer.size() - outputLeft);
    }
    rest.remove_prefix(rest.size() - inputLeft);
  }

 private:
  iconv_t handle_;
};

// Single bytes that Microsoft's table maps and the C library's refuses.
char32_t MicrosoftSingleByte(unsigned char byte) {
  if (byte == 0x80 || byte == 0xA0) return byte;
  if (byte >= 0xFD) return 0xF8F1 + (byte - 0xFDU);
  return REPLACEMENT;
}

}  // namespace

std::string Utf16ToUtf8(std::u16string_view text) {
  std::string out;
  out.reserve(text.size() * 3);
  for (std::size_t i = 0; i < text.size(); ++i) {
    char32_t character = text[i];
    if (IsHighSurrogate(character) && i + 1 < text.size() && IsLowSurrogate(text[i + 1])) {
      character = 0x10000 + ((character - 0xD800) << 10) + (text[++i] - 0xDC00U);
    } else if (IsHighSurrogate(character) || IsLowSurrogate(character)) {
      character = REPLACEMENT;
    }
    AppendUtf8(character, out);
  }
  return out;
}

std::u16string Utf8ToUtf16(std::string_view text) {
  static thread_local const Converter converter("UTF-16LE", "UTF-8");
  std::string bytes;
  while (!text.empty()) {
    converter.Convert(text, bytes);
    if (text.empty()) break;
    bytes.append("\xFD\xFF");
    text.remove_prefix(1);
  }
  std::u16string out;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    const auto low = static_cast<unsigned char>(bytes[i]);
    const auto high = static_cast<unsigned char>(bytes[i + 1]);
    out.push_back(static_cast<char16_t>(low | (high << 8)));
  }
  return out;
}

std::string CodePage932ToUtf8(std::string_view bytes) {
  if (IsAscii(bytes)) return std::string(bytes);
  static thread_local const Converter converter("UTF-8", "CP932");
  std::string out;
  out.reserve(bytes.size() * 2);
  while (!bytes.empty()) {
    converter.Convert(bytes, out);
    if (bytes.empty()) break;
    AppendUtf8(MicrosoftSingleByte(static_cast<unsigned char>(bytes.front())), out);
    bytes.remove_prefix(1);
  }
  return out;
}

bool IsAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(),
                     [](char byte) { return static_cast<unsigned char>(byte) < 0x80; });
}

std::string_view CutUtf8(std::string_view text, std::size_t maxBytes) {
  if (text.size() <= maxBytes) return text;
  std::size_t end = maxBytes;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80)
    --end;
  return text.substr(0, end);
}

}  // namespace nimport::host
