#include "mime/transfer_encoding.h"

#include <algorithm>
#include <string>
#include <utility>

#include <gmime/gmime.h>

#include "text/ascii.h"

namespace nimport::mime {
namespace {

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
  std::string_view padding;
};

// `encoded` up to its padding, which is returned apart. GMime's decoder would go on behind it, and
// would drop a last group without padding.
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

// What stands behind the line that begins uuencoded data; nothing when there is no such line.
std::string_view BehindBeginLine(std::string_view encoded) {
  constexpr std::string_view BEGIN = "begin ";
  while (!encoded.empty()) {
    const std::size_t lineEnd = encoded.find('\n');
    const bool isBegin = encoded.starts_with(BEGIN);
    encoded.remove_prefix(lineEnd == std::string_view::npos ? encoded.size() : lineEnd + 1);
    if (isBegin) break;
  }
  return encoded;
}

// What is given to GMime's decoder piece by piece.
class Decoder {
 public:
  Decoder(TransferEncoding encoding, std::size_t maxBytes) {
    g_mime_encoding_init_decode(&state_, ToGMime(encoding));
    decoded_ = Buffer(g_mime_encoding_outlen(&state_, maxBytes));
  }

  void Add(std::string_view piece) {
    size_ += g_mime_encoding_step(&state_, piece.data(), piece.size(), decoded_.data() + size_);
  }

  // Quoted-printable text, in which blanks may have come between the '=' of a soft line end and
  // the line end; GMime's decoder would take the line end for the text's.
  void AddQuotedPrintable(std::string_view text) {
    std::size_t added = 0;
    for (std::size_t at = text.find('='); at != std::string_view::npos;
         at = text.find('=', at + 1)) {
      const std::size_t behind = std::min(text.find_first_not_of(" \t", at + 1), text.size());
      const bool isAtLineEnd =
          behind == text.size() || text[behind] == '\r' || text[behind] == '\n';
      if (behind == at + 1 || !isAtLineEnd) continue;
      Add(text.substr(added, at + 1 - added));
      added = behind;
    }
    Add(text.substr(added));
  }

  Buffer Finish() {
    decoded_.Shorten(size_);
    return std::move(decoded_);
  }

 private:
  GMimeEncoding state_{};
  Buffer decoded_;
  std::size_t size_ = 0;
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
  if (encoding == TransferEncoding::Base64) {
    text = UpToPadding(encoded);
  } else if (encoding == TransferEncoding::Uuencode) {
    text.text = BehindBeginLine(encoded);
  }
  Decoder decoder(encoding, text.text.size() + text.padding.size());
  if (encoding == TransferEncoding::QuotedPrintable) {
    decoder.AddQuotedPrintable(text.text);
  } else {
    decoder.Add(text.text);
    decoder.Add(text.padding);
  }
  return decoder.Finish();
}

}  // namespace nimport::mime
