// The transfer encodings of mail contents: base64, quoted-printable and uuencode. All of them take
// time in proportion to what they are given; what works piece by piece needs no memory but the
// caller's.
#ifndef NIMPORT_MIME_TRANSFER_ENCODING_H_
#define NIMPORT_MIME_TRANSFER_ENCODING_H_

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace nimport::mime {

enum class TransferEncoding { Identity, Base64, QuotedPrintable, Uuencode };

// The encoding that a Content-Transfer-Encoding value names; Identity for one that nobody knows.
[[nodiscard]] TransferEncoding FindTransferEncoding(std::string_view value);

// Decodes contents piece by piece. Damage is stepped over as well as it goes; never fails.
//
// Base64: other characters are skipped, a last group without padding counts, and the first padding
// ends the contents: what a mailing list added after it is left out. Quoted-printable: blanks
// between the '=' of a soft line end and the line end are no text, and an '=' that begins no escape
// stays. Uuencode: begins after the "begin" line, or at once where there is none; a line shorter
// than it says counts as filled up with blanks, which mail programs on the way cut off.
class TransferDecoder {
 public:
  // What Read needs.
  static constexpr std::size_t MIN_ROOM = 64;

  // `encoded` outlives the decoder.
  TransferDecoder(TransferEncoding encoding, std::string_view encoded);

  // No fewer bytes than are decoded from now on.
  [[nodiscard]] std::size_t MaxSize() const;

  // Decodes to the start of `out`, which has MIN_ROOM bytes at least, and returns how many bytes
  // stand there now. 0 at the end of the contents, and only there.
  [[nodiscard]] std::size_t Read(std::span<char> out);

 private:
  std::size_t ReadBase64(std::span<char> out);
  std::size_t ReadQuotedPrintable(std::span<char> out);
  std::size_t ReadUuencode(std::span<char> out);

  TransferEncoding encoding_;
  std::string_view rest_;  // what is not decoded yet
};

// The bytes that `encoded` stands for, as TransferDecoder decodes them.
[[nodiscard]] std::string DecodeTransfer(TransferEncoding encoding, std::string_view encoded);

// `bytes` as base64 in one line, padded.
[[nodiscard]] std::string EncodeBase64Line(std::string_view bytes);

// Encodes bytes as base64 in lines of 76 characters, each with a CR LF, piece by piece.
class Base64Encoder {
 public:
  // What Read needs: a line.
  static constexpr std::size_t MIN_ROOM = 78;

  // `bytes` outlive the encoder.
  explicit Base64Encoder(std::string_view bytes) : rest_(bytes) {}

  // How many characters are still to be read.
  [[nodiscard]] std::size_t Size() const;

  // Puts whole lines to the start of `out`, which has room for MIN_ROOM characters at least, and
  // returns how many characters stand there now. 0 at the end, and only there.
  [[nodiscard]] std::size_t Read(std::span<char> out);

 private:
  std::string_view rest_;
};

// All of that at once.
[[nodiscard]] std::string EncodeBase64Lines(std::string_view bytes);

// `text` as quoted-printable, in lines of at most 76 characters. Its line ends, LF or CR LF, become
// CR LF; a CR by itself is encoded, as is a blank at the end of a line.
[[nodiscard]] std::string EncodeQuotedPrintable(std::string_view text);

}  // namespace nimport::mime

#endif  // NIMPORT_MIME_TRANSFER_ENCODING_H_
