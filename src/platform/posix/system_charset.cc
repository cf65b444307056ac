#include "text/system_charset.h"

#include <array>
#include <bit>
#include <cerrno>
#include <utility>

#include <iconv.h>

namespace nimport::text {
namespace {

constexpr const char* UTF16_NAME =
    std::endian::native == std::endian::little ? "UTF-16LE" : "UTF-16BE";

// One direction of iconv.
class Direction {
 public:
  Direction(const char* to, const char* from) : handle_(iconv_open(to, from)) {}
  ~Direction() {
    if (IsOpen()) iconv_close(handle_);
  }
  Direction(const Direction&) = delete;
  Direction& operator=(const Direction&) = delete;

  [[nodiscard]] bool IsOpen() const { return handle_ != reinterpret_cast<iconv_t>(-1); }

  void Reset() { iconv(handle_, nullptr, nullptr, nullptr, nullptr); }

  // Converts up to the first damage, which it leaves at the front of `in`. True when all was
  // converted; the initial state is then reached again.
  template <typename In, typename Out>
  [[nodiscard]] bool Convert(std::basic_string_view<In>& in, std::basic_string<Out>& result) {
    // iconv reads through a pointer that it could write through, but does not.
    char* from = reinterpret_cast<char*>(const_cast<In*>(in.data()));
    std::size_t fromLeft = in.size() * sizeof(In);
    bool isWhole = true;
    while (isWhole && fromLeft > 0)
      isWhole = Step(&from, &fromLeft, result);
    in.remove_prefix(in.size() - fromLeft / sizeof(In));
    // Some sets hold a letter back until it is clear that no accent follows.
    return isWhole && Step<Out>(nullptr, nullptr, result);
  }

 private:
  // True unless it met damage.
  template <typename Out>
  bool Step(char** from, std::size_t* fromLeft, std::basic_string<Out>& result) {
    std::array<Out, 4096 / sizeof(Out)> piece;
    char* to = reinterpret_cast<char*>(piece.data());
    std::size_t toLeft = sizeof piece;
    const std::size_t outcome = iconv(handle_, from, fromLeft, &to, &toLeft);
    const bool isWhole = outcome != static_cast<std::size_t>(-1) || errno == E2BIG;
    result.append(piece.data(), (sizeof piece - toLeft) / sizeof(Out));
    return isWhole;
  }

  iconv_t handle_;
};

}  // namespace

struct SystemCharset::Converter {
  explicit Converter(const char* name) : decoder(UTF16_NAME, name), encoder(name, UTF16_NAME) {}

  Direction decoder;
  Direction encoder;
};

std::optional<SystemCharset> SystemCharset::Open(const std::string& name) {
  auto converter = std::make_unique<Converter>(name.c_str());
  if (!converter->decoder.IsOpen() || !converter->encoder.IsOpen()) return std::nullopt;
  return SystemCharset(std::move(converter));
}

SystemCharset::SystemCharset(std::unique_ptr<Converter> converter)
    : converter_(std::move(converter)) {}
SystemCharset::SystemCharset(SystemCharset&&) noexcept = default;
SystemCharset& SystemCharset::operator=(SystemCharset&&) noexcept = default;
SystemCharset::~SystemCharset() = default;

std::u16string SystemCharset::Decode(std::string_view bytes, char16_t forDamage) {
  std::u16string text;
  converter_->decoder.Reset();
  while (!converter_->decoder.Convert(bytes, text) && !bytes.empty()) {
    text += forDamage;
    bytes.remove_prefix(1);
  }
  return text;
}

std::optional<std::u16string> SystemCharset::DecodeStrict(std::string_view bytes) {
  std::u16string text;
  converter_->decoder.Reset();
  if (!converter_->decoder.Convert(bytes, text)) return std::nullopt;
  return text;
}

std::optional<std::string> SystemCharset::Encode(std::u16string_view text, std::size_t& missing) {
  std::string bytes;
  const std::size_t units = text.size();
  converter_->encoder.Reset();
  if (converter_->encoder.Convert(text, bytes)) return bytes;
  missing = units - text.size();
  return std::nullopt;
}

}  // namespace nimport::text
