#include "plugin/mails/header_summary.h"

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>

#include "common/failure.h"
#include "platform/columns.h"
#include "plugin/mails/mail_row.h"
#include "plugin/mails/mail_time.h"
#include "plugin/mails/mime_file.h"
#include "store/mails/mail_date.h"
#include "store/mails/mail_text.h"

namespace nimport::plugin {
namespace {

std::string_view ColumnFor(const store::MailKindColumns& columns, store::FieldSelector selector) {
  switch (selector) {
    case store::FieldSelector::Subject:
      return columns.titleColumn;
    case store::FieldSelector::From:
      return columns.originatorIdColumn;
    case store::FieldSelector::To:
      return columns.recipientColumn;
    case store::FieldSelector::MessageId:
      return columns.messageIdColumn;
    case store::FieldSelector::ContentType:
      return columns.contentTypeColumn;
    case store::FieldSelector::Date:
      break;
  }
  FailInvalid("this header field is not kept as text");
}

// Empty where the kind has no column for the field or the column is null.
text::ValueText ReadColumnField(const MailRow& row, store::FieldSelector selector) {
  const std::string_view column = ColumnFor(row.columns, selector);
  if (column.empty()) return {};
  std::optional<std::string> text = platform::ReadText(*row.recordset, column);
  if (!text) return {};
  const std::string_view nameColumn = row.columns.originatorNameColumn;
  if (selector == store::FieldSelector::From && !nameColumn.empty()) {
    *text += ' ' + platform::ReadText(*row.recordset, nameColumn).value_or("");
  }
  if (text->find_first_not_of(' ') == std::string::npos) FailInvalid("the header field is blank");
  return text::ValueText::Cut(*text);
}

// Only values read from columns are remembered: a source is composed for mails kept in columns
// alone.
void StoreCurrentField(MailStore& store, store::FieldSelector selector,
                       const text::ValueText& value) {
  if (!store.currentMail) FailInvalid("no current mail to remember the header field in");
  switch (selector) {
    case store::FieldSelector::Subject:
      store.currentMail->subject = value;
      return;
    case store::FieldSelector::From:
      store.currentMail->from = value;
      return;
    case store::FieldSelector::To:
      store.currentMail->to = value;
      return;
    case store::FieldSelector::MessageId:
      store.currentMail->messageId = value;
      return;
    case store::FieldSelector::ContentType:
      store.currentMail->contentType = value;
      return;
    case store::FieldSelector::Date:
      FailInvalid("this header field is not kept as text");
  }
}

// From the header of a whole mail that stands in a column.
text::ValueText ReadStoredTextField(const MailRow& row, store::FieldSelector selector) {
  const std::optional<std::string> text = platform::ReadText(*row.recordset, "TextData");
  if (!text) FailInvalid("the mail has no text");
  return text::ValueText::Cut(store::GetHeaderLine(*text, selector));
}

// The content type of a main part of the library's current mail.
std::string ReadMainPartType(MailStore& store, std::int32_t bodyIndex) {
  std::int32_t position = store.mime.MainHeadPosition();
  std::string contentType;
  for (std::int32_t i = 0; i <= bodyIndex; ++i) {
    if (position == 0) FailInvalid("the MIME file has fewer parts than were counted");
    contentType = store.mime.MainNext(position, MainPartWanted::ContentType).contentType;
  }
  return contentType;
}

std::string ReadBodyType(MailStore& store, std::int32_t bodyIndex) {
  if (bodyIndex < 0) FailInvalid("negative body number");
  if (bodyIndex < store.currentPartCount) return ReadMainPartType(store, bodyIndex);
  const auto related = static_cast<std::size_t>(bodyIndex - store.currentPartCount);
  if (!store.currentParts || related >= store.currentParts->size()) {
    FailInvalid("the mail whose bodies were counted last has no body " + std::to_string(bodyIndex));
  }
  return (*store.currentParts)[related].contentType.str();
}

std::optional<std::string> GetMimeHeaderText(MimeSession& session, store::FieldSelector selector) {
  switch (selector) {
    case store::FieldSelector::Subject:
      return session.GetSubject();
    case store::FieldSelector::From:
      return session.GetFrom();
    case store::FieldSelector::To:
      return session.GetTo();
    case store::FieldSelector::MessageId:
      return session.GetMessageId();
    case store::FieldSelector::Date:
    case store::FieldSelector::ContentType:
      break;
  }
  return std::nullopt;
}

text::ValueText ReadMimeFileField(MailStore& store, const MailRow& row,
                                  store::FieldSelector selector, std::int32_t bodyIndex) {
  MimeFile(store, row).RequireParsed();
  if (selector == store::FieldSelector::ContentType)
    return text::ValueText::Cut(ReadBodyType(store, bodyIndex));
  const std::optional<std::string> text = GetMimeHeaderText(store.mime, selector);
  if (!text) FailInvalid("the MIME library gives no text for the header field");
  return text::ValueText::Cut(*text);
}

text::ValueText ReadFieldSource(MailStore& store, const MailRow& row, store::FieldSelector selector,
                                std::int32_t bodyIndex) {
  const store::MailContent content = ContentOf(row);
  if (content == store::MailContent::MimeFile)
    return ReadMimeFileField(store, row, selector, bodyIndex);
  if (content == store::MailContent::WholeMail) return ReadStoredTextField(row, selector);
  text::ValueText value = ReadColumnField(row, selector);
  StoreCurrentField(store, selector, value);
  return value;
}

}  // namespace

text::ValueText GetMailField(MailStore& store, std::int32_t folderIndex, std::int32_t mailIndex,
                             store::FieldSelector selector, std::int32_t bodyIndex) {
  text::ValueText value;
  {
    MailRow row = FindMailRow(store, folderIndex, mailIndex);
    RequireMailSize(row);
    value = ReadFieldSource(store, row, selector, bodyIndex);
  }
  if (!value.empty()) return value;
  if (selector != store::FieldSelector::MessageId) return text::ValueText::Cut(EMPTY_FIELD_TEXT);
  std::int32_t seconds = 0;
  GetMailTime(store, folderIndex, mailIndex, seconds);
  return text::ValueText::Cut(store::MakeFallbackMessageId(seconds, store.platform.clock()));
}

}  // namespace nimport::plugin
