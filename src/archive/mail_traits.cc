#include "archive/mail_traits.h"

#include <array>
#include <utility>

#include "archive/readable/readable_mail.h"
#include "mime/garbling.h"
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

MailTraits FindTraits(std::string& mail) {
  if (mime::IsPlain(mail)) return {};
  mime::Mail parsed(std::move(mail));
  MailTraits traits;
  for (const std::size_t part : parsed.roles().attachments) {
    traits.attachments.push_back(
        {.name = parsed.SavedName(part), .sizeBytes = SizeOf(parsed, part)});
  }
  traits.isGarbled = IsShownGarbled(parsed);
  mail = std::move(parsed).TakeText();
  return traits;
}

}  // namespace nimport::archive
