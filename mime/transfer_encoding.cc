#include "mime/transfer_encoding.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>

#include <gmime/gmime.h>

#include "mime/ascii.h"

namespace nimport::mime {
namespace {

// What goes through a filter at once: its buffers stay small whatever the size of the part.
constexpr std::size_t STEP_BYTES = 65536;

struct FilterDeleter {
  void operator()(GMimeFilter* filter) const { g_object_unref(filter); }
};
using Filter = std::unique_ptr<GMimeFilter, FilterDeleter>;

GMimeContentEncoding ToGMime(TransferEncoding encoding) {
  switch (encoding) {
    case TransferEncoding::Base64:
      return GMIME_CONTENT_ENCODING_BASE64;
    case TransferEncoding::QuotedPrintable:
      return GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE;
    case TransferEncoding::Uuencode:
      return GMIME_CONTENT_ENCODING_UUENCODE;
    default:
      return GMIME_CONTENT_ENCODING_BINARY;
  }
}

bool IsBase64Character(char character) {
  return IsAsciiLetterOrDigit(character) || character == '+' || character == '/';
}

// `encoded` up to and with its padding. The filter would go on behind it, and differently so
// depending on how the bytes are cut into steps.
std::string_view UpToPadding(std::string_view encoded) {
  std::size_t characters = 0;
  for (std::size_t i = 0; i < encoded.size(); ++i) {
    if (IsBase64Character(encoded[i])) {
      ++characters;
    } else if (encoded[i] == '=' && characters % 4 >= 2) {
      const std::size_t second = characters % 4 == 2 ? encoded.find('=', i + 1) : i;
      return encoded.substr(0, second == std::string_view::npos ? second : second + 1);
    }
  }
  return encoded;
}

// A decoder's output is never longer than its input.
class Output {
 public:
  explicit Output(std::size_t maxBytes) : buffer_(maxBytes) {}

  void Append(const char* bytes, std::size_t sizeBytes) {
    const std::size_t taken = std::min(sizeBytes, buffer_.size() - used_);
    if (taken > 0) std::memcpy(buffer_.data() + used_, bytes, taken);
    used_ += taken;
  }

  [[nodiscard]] Buffer Finish() {
    buffer_.Shorten(used_);
    return std::move(buffer_);
  }

 private:
  Buffer buffer_;
  std::size_t used_ = 0;
};

}  // namespace

TransferEncoding FindTransferEncoding(std::string_view value) {
  value = Trim(value.substr(0, value.find(';')));
  switch (g_mime_content_encoding_from_string(std::string(value).c_str())) {
    case GMIME_CONTENT_ENCODING_BASE64:
      return TransferEncoding::Base64;
    case GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE:
      return TransferEncoding::QuotedPrintable;
    case GMIME_CONTENT_ENCODING_UUENCODE:
      return TransferEncoding::Uuencode;
    default:
      return TransferEncoding::Identity;
  }
}

Buffer DecodeTransfer(TransferEncoding encoding, std::string_view encoded) {
  if (encoding == TransferEncoding::Identity) return Buffer(encoded);
  if (encoding == TransferEncoding::Base64) encoded = UpToPadding(encoded);
  const Filter filter(g_mime_filter_basic_new(ToGMime(encoding), FALSE));
  Output output(encoded.size());
  char* out = nullptr;
  size_t outSize = 0;
  size_t outSpace = 0;
  while (!encoded.empty()) {
    const std::string_view step = encoded.substr(0, STEP_BYTES);
    g_mime_filter_filter(filter.get(), const_cast<char*>(step.data()), step.size(), 0, &out,
                         &outSize, &outSpace);
    output.Append(out, outSize);
    encoded.remove_prefix(step.size());
  }
  g_mime_filter_complete(filter.get(), nullptr, 0, 0, &out, &outSize, &outSpace);
  output.Append(out, outSize);
  return output.Finish();
}

}  // namespace nimport::mime
