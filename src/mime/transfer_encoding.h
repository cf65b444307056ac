#ifndef NIMPORT_MIME_TRANSFER_ENCODING_H_
#define NIMPORT_MIME_TRANSFER_ENCODING_H_

#include <string_view>

#include "mime/buffer.h"

namespace nimport::mime {

enum class TransferEncoding { Identity, Base64, QuotedPrintable, Uuencode };

// The encoding that a Content-Transfer-Encoding value names; Identity for one that nobody knows.
[[nodiscard]] TransferEncoding FindTransferEncoding(std::string_view value);

// The bytes that `encoded` stands for. Damage is skipped over as well as it goes; never fails on
// content. Base64 ends at its padding: what a mailing list added behind it is left out.
[[nodiscard]] Buffer DecodeTransfer(TransferEncoding encoding, std::string_view encoded);

}  // namespace nimport::mime

#endif  // NIMPORT_MIME_TRANSFER_ENCODING_H_
