#include "archive/attachments.h"

#include <array>
#include <utility>

#include "mime/mail.h"

namespace nimport::archive {

namespace {

std::uint64_t SizeOf(const mime::Mail& mail, std::size_t part) {
  mime::TransferDecoder contents = mail.Contents(part);
  std::array<char, 8192> piece;
  std::uint64_t bytes = 0;
  while (const std::size_t read = contents.Read(piece))
    bytes += read;
  return bytes;
}

}  // namespace

std::vector<Attachment> ListAttachments(std::string& mail) {
  mime::Mail parsed(std::move(mail));
  std::vector<Attachment> attachments;
  for (const std::size_t part : parsed.roles().attachments)
    attachments.push_back({.name = parsed.SavedName(part), .sizeBytes = SizeOf(parsed, part)});
  mail = std::move(parsed).TakeText();
  return attachments;
}

}  // namespace nimport::archive
