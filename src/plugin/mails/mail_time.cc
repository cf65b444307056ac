#include "plugin/mails/mail_time.h"

#include <optional>
#include <string>

#include "common/failure.h"
#include "platform/columns.h"
#include "plugin/mails/mail_row.h"
#include "plugin/mails/mime_file.h"
#include "store/mails/date_column.h"
#include "store/mails/mail_date.h"
#include "store/mails/mail_text.h"

namespace nimport::plugin {
namespace {

constexpr std::int32_t NO_TIME = -1;

// The text of the Date header of a mail whose date is not kept in a column.
std::string ReadDateText(MailStore& store, const MailRow& row) {
  if (ContentOf(row) == store::MailContent::WholeMail) {
    const std::optional<std::string> text = platform::ReadText(*row.recordset, "TextData");
    if (!text) FailInvalid("the mail has no text");
    return std::string(store::GetHeaderLine(*text, store::FieldSelector::Date));
  }
  MimeFile(store, row).RequireParsed();
  const std::optional<std::string> text = store.mime.GetSendDate();
  if (!text) FailInvalid("the MIME library gives no date");
  return *text;
}

std::int32_t TimeFromText(MailStore& store, const MailRow& row) {
  const platform::Clock& clock = store.platform.clock();
  const std::string text = text::ValueText::Cut(ReadDateText(store, row)).str();
  const std::optional<std::int32_t> time = store::ParseMailDate(text, clock);
  return time ? store::SubtractZoneBias(*time, clock) : NO_TIME;
}

std::int32_t TimeFromColumn(MailStore& store, const MailRow& row) {
  const jet::Value value = row.recordset->GetFieldValue(row.columns.dateColumn);
  const std::optional<platform::LocalTime> date = store::ReadDateColumn(value);
  if (!date) FailInvalid("the mail has no date that can be used");
  const platform::Clock& clock = store.platform.clock();
  return store::SubtractZoneBias(clock.ToSeconds(*date).value_or(NO_TIME), clock);
}

}  // namespace

void GetMailTime(MailStore& store, std::int32_t folderIndex, std::int32_t mailIndex,
                 std::int32_t& seconds) {
  const MailRow row = FindMailRow(store, folderIndex, mailIndex);
  const store::MailContent content = ContentOf(row);
  if (content == store::MailContent::WholeMail || store::HasDateInMimeFile(row.entry.dataType)) {
    seconds = TimeFromText(store, row);
    if (seconds == NO_TIME) FailInvalid("the date text cannot be read");
    return;
  }
  seconds = TimeFromColumn(store, row);
  if (!store::HasFieldsInColumns(content)) return;
  if (!store.currentMail) FailInvalid("no current mail to remember the date in");
  store.currentMail->date = seconds;
}

}  // namespace nimport::plugin
