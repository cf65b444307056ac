#include "wexmail/kept_mail.h"

#include <span>

namespace nimport::wexmail {
namespace {

// Everything that `decoder` reads, in one block.
Buffer ReadAll(mime::TransferDecoder decoder) {
  Buffer block(decoder.MaxSize() + mime::TransferDecoder::MIN_ROOM);
  const std::span<char> room(block.data(), block.size());
  std::size_t size = 0;
  while (const std::size_t read = decoder.Read(room.subspan(size)))
    size += read;
  block.Shorten(size);
  return block;
}

}  // namespace

const Buffer& KeptMail::Bytes(std::size_t partIndex) {
  Buffer& bytes = bytes_[partIndex];
  if (bytes.IsNull()) bytes = ReadAll(mail_.Contents(partIndex));
  return bytes;
}

const Buffer& KeptMail::ShownContents(std::size_t partIndex) {
  if (!mail_.IsText(partIndex)) return Bytes(partIndex);
  Buffer& shown = shown_[partIndex];
  if (shown.IsNull()) shown = Buffer(std::string_view(mail_.Text(partIndex)));
  return shown;
}

const std::vector<std::size_t>& KeptMail::FindParts(std::string_view contentType) {
  if (!lists_) lists_.emplace(mail_);
  return lists_->Find(contentType);
}

}  // namespace nimport::wexmail
