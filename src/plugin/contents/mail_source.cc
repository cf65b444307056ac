#include "plugin/contents/mail_source.h"

#include <new>
#include <optional>
#include <string_view>
#include <utility>

#include "common/failure.h"
#include "platform/columns.h"
#include "plugin/mails/mail_row.h"
#include "plugin/mails/mime_file.h"
#include "store/mails/mail_date.h"
#include "store/mails/mail_text.h"

namespace nimport::plugin {
namespace {

using store::MailContent;

constexpr std::string_view LINE_END = "\r\n";

void AppendHeaderLine(std::string& block, std::string_view name, std::string_view value) {
  block.append(name).append(": ").append(value).append(LINE_END);
}

void AppendIfSet(std::string& block, std::string_view name, const text::ValueText& value) {
  if (!value.empty()) AppendHeaderLine(block, name, value.str());
}

// Values stand as they were read: neither folded nor encoded.
const std::string& ComposeHeaderBlock(MailStore& store) {
  if (!store.currentMail) FailInvalid("no current mail to take header lines from");
  CurrentMail& mail = *store.currentMail;
  std::string block;
  if (mail.date != 0) {
    AppendHeaderLine(block, "Date", store::DateText(mail.date, store.platform.clock()));
  }
  AppendIfSet(block, "From", mail.from);
  AppendIfSet(block, "Message-ID", mail.messageId);
  AppendIfSet(block, "To", mail.to);
  AppendIfSet(block, "Subject", mail.subject);
  AppendIfSet(block, "Content-Type", mail.contentType);
  block.append(LINE_END);
  mail.composedHeader = std::move(block);
  return mail.composedHeader;
}

// A text column with line ends CR LF; empty for null. Too little memory for that is -2.
std::optional<std::string> ReadNormalizedText(const MailRow& row, std::string_view column) {
  std::optional<std::string> text = platform::ReadText(*row.recordset, column);
  if (!text) return std::nullopt;
  try {
    return store::NormalizeLineEnds(*std::move(text));
  } catch (const std::bad_alloc&) {
    FailDatabase("no memory for the mail's text");
  }
}

// A mail without a stored text has an empty source, without header lines.
std::string HeaderBlockAndText(MailStore& store, const MailRow& row) {
  const std::optional<std::string> text = ReadNormalizedText(row, "TextData");
  return text ? ComposeHeaderBlock(store) + *text : std::string();
}

std::string TextAndForwardedText(const MailRow& row) {
  const std::optional<std::string> text = ReadNormalizedText(row, "TextData");
  const std::optional<std::string> forwarded = ReadNormalizedText(row, "ForwardText");
  if (!forwarded) FailInvalid("the mail has no forwarded text");
  return text.value_or(std::string(LINE_END)) + *forwarded;
}

}  // namespace

std::string ComposeMailSource(MailStore& store, std::int32_t folderIndex, std::int32_t mailIndex) {
  const MailRow row = FindMailRow(store, folderIndex, mailIndex);
  switch (ContentOf(row)) {
    case MailContent::LinkedFile:
    case MailContent::StoredFile:
      return ComposeHeaderBlock(store);
    case MailContent::WholeMail:
      return ReadNormalizedText(row, "TextData").value_or("");
    case MailContent::Text:
      return HeaderBlockAndText(store, row);
    case MailContent::ForwardedText:
      return TextAndForwardedText(row);
    case MailContent::MimeFile:
      return MimeFile(store, row).TakeText();
  }
  FailInvalid("a mail of this kind has no source");
}

}  // namespace nimport::plugin
