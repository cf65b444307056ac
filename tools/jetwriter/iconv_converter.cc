#include "jetwriter/iconv_converter.h"

#include <array>
#include <cerrno>
#include <cstddef>

#include <iconv.h>

#include "jetwriter/write_error.h"

namespace nimport::jetwriter {
namespace {

const auto NO_CONVERTER = reinterpret_cast<iconv_t>(-1);

// The character that begins at `utf8`, for a message.
std::string_view FirstCharacter(std::string_view utf8) {
  std::size_t length = 1;
  while (length < utf8.size() && (static_cast<unsigned char>(utf8[length]) & 0xC0) == 0x80) {
    ++length;
  }
  return utf8.substr(0, length);
}

}  // namespace

IconvConverter::IconvConverter(const std::string& charset)
    : charset_(charset), handle_(iconv_open(charset.c_str(), "UTF-8")) {
  if (handle_ == NO_CONVERTER) throw WriteError("there is no character set \"" + charset + "\"");
}

IconvConverter::~IconvConverter() {
  iconv_close(handle_);
}

std::string IconvConverter::Convert(std::string_view utf8) const {
  std::string result;
  std::array<char, 4096> piece{};
  char* in = const_cast<char*>(utf8.data());  // iconv does not write to its input
  std::size_t inLeft = utf8.size();
  iconv(handle_, nullptr, nullptr, nullptr, nullptr);
  for (bool flushing = false;;) {
    char* out = piece.data();
    std::size_t outLeft = piece.size();
    const std::size_t done =
        iconv(handle_, flushing ? nullptr : &in, flushing ? nullptr : &inLeft, &out, &outLeft);
    result.append(piece.data(), piece.size() - outLeft);
    if (done != static_cast<std::size_t>(-1)) {
      if (flushing) return result;
      flushing = true;
    } else if (errno == EILSEQ) {
      throw WriteError("\"" + std::string(FirstCharacter({in, inLeft})) +
                       "\" has no place in the character set " + charset_);
    } else if (errno != E2BIG) {
      throw WriteError("the text is no UTF-8 at its byte " + std::to_string(utf8.size() - inLeft));
    }
  }
}

std::string IconvNameOf(unsigned codePage) {
  if (codePage == 65001) return "UTF-8";
  return "CP" + std::to_string(codePage);
}

}  // namespace nimport::jetwriter
