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

struct Base64Text {
  std::string_view text;
  std::string_view missingPadding;
};

// `encoded` up to and with its padding. The filter would go on behind it, and differently so
// depending on how the bytes are cut into steps; and it would drop a last group without padding.
Base64Text UpToPadding(std::string_view encoded) {
  std::size_t characters = 0;
  for (std::size_t i = 0; i < encoded.size(); ++i) {
    if (IsBase64Character(encoded[i])) {
      ++characters;
    } else if (encoded[i] == '=' && characters % 4 >= 2) {
      return {encoded.substr(0, i), characters % 4 == 2 ? "==" : "="};
    }
  }
  constexpr std::string_view MISSING[] = {"", "", "==", "="};
  return {encoded, MISSING[characters % 4]};
}

// Decodes through GMime's filter into one buffer.
class Decoder {
 public:
  // Decoded bytes are never more than encoded ones.
  Decoder(TransferEncoding encoding, std::size_t maxBytes)
      : filter_(g_mime_filter_basic_new(ToGMime(encoding), FALSE)), buffer_(maxBytes) {}

  void Add(std::string_view encoded) {
    while (!encoded.empty()) {
      const std::string_view step = encoded.substr(0, STEP_BYTES);
      g_mime_filter_filter(filter_.get(), const_cast<char*>(step.data()), step.size(), 0, &out_,
                           &outSize_, &outSpace_);
      TakeOutput();
      encoded.remove_prefix(step.size());
    }
  }

  Buffer Finish() {
    g_mime_filter_complete(filter_.get(), nullptr, 0, 0, &out_, &outSize_, &outSpace_);
    TakeOutput();
    buffer_.Shorten(used_);
    return std::move(buffer_);
  }

 private:
  void TakeOutput() {
    const std::size_t taken = std::min(outSize_, buffer_.size() - used_);
    if (taken > 0) std::memcpy(buffer_.data() + used_, out_, taken);
    used_ += taken;
  }

  Filter filter_;
  Buffer buffer_;
  std::size_t used_ = 0;
  char* out_ = nullptr;  // what the filter gave last, in its own memory
  size_t outSize_ = 0;
  size_t outSpace_ = 0;
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
  Base64Text text{encoded, ""};
  if (encoding == TransferEncoding::Base64) text = UpToPadding(encoded);
  Decoder decoder(encoding, text.text.size() + text.missingPadding.size());
  decoder.Add(text.text);
  decoder.Add(text.missingPadding);
  return decoder.Finish();
}

}  // namespace nimport::mime
