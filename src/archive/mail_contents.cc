#include "archive/mail_contents.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "archive/further_columns.h"
#include "archive/header_lines.h"
#include "archive/instant.h"
#include "common/failure.h"
#include "mime/header_block.h"
#include "mime/header_text.h"
#include "store/mails/mail_date.h"
#include "store/mails/mail_text.h"
#include "text/ascii.h"

namespace nimport::archive {

namespace {

using store::FieldSelector;
using store::MailContent;
using store::MailRecord;
using store::TextField;

constexpr std::string_view DIGITS = "0123456789";

std::optional<std::string> UnlessBlank(std::string_view text) {
  const std::string_view trimmed = text::Trim(text);
  return trimmed.empty() ? std::nullopt : std::optional<std::string>(trimmed);
}

std::string NormalizedText(const TextField& field) {
  if (field.problem) throw store::Error(*field.problem);
  return store::NormalizeLineEnds(field.value.value_or(""));
}

MailContents Make(ContentsKind kind, std::string bytes) {
  MailContents contents;
  contents.kind = kind;
  contents.bytes = std::move(bytes);
  return contents;
}

// The text of a mail that should have its header with it, but may not.
MailContents WholeMailContents(store::Store& store, const MailRecord& record) {
  std::string text = NormalizedText(record.text);
  if (!LooksLikeMail(text)) return Make(ContentsKind::Text, std::move(text));
  return Make(ContentsKind::WholeMail,
              store::NormalizeLineEnds(store.ReadRawText(record).value_or("")));
}

MailContents ForwardedContents(const MailRecord& record) {
  return Make(ContentsKind::Text,
              NormalizedText(record.text) + NormalizedText(record.forwardedText));
}

MailContents FileContents(store::Store& store, const MailRecord& record) {
  MailContents contents = Make(ContentsKind::StoredFile, {});
  try {
    store::StoredFile file = store.ReadStoredFile(record);
    contents.bytes = std::move(file.bytes);
    contents.fileName = std::move(file.name);
    const std::size_t dot = contents.fileName.rfind('.');
    if (dot != std::string::npos) contents.extension = contents.fileName.substr(dot);
  } catch (const store::Error& error) {
    contents.missing = error.reason();
  }
  return contents;
}

// Puts what a field holds into `header`, or its problem among the headers' problems.
class HeaderReader {
 public:
  explicit HeaderReader(MailHeaders& headers) : headers_(headers) {}

  void Set(std::optional<std::string>& header, const char* name, const TextField& field) {
    if (field.problem) {
      Fail(name, field.problem->Describe());
    } else if (field.value && field.value->find_first_not_of(' ') == std::string::npos) {
      Fail(name, "the header field is blank");
    } else if (field.value) {
      header = UnlessBlank(*field.value);
    }
  }

  // From the text of a mail that has its header with it.
  void SetFromText(std::optional<std::string>& header, const char* name, const TextField& text,
                   FieldSelector selector) {
    if (text.problem) return Fail(name, text.problem->Describe());
    if (!text.value) return Fail(name, "the mail has no text");
    try {
      header = UnlessBlank(store::GetHeaderLine(*text.value, selector));
    } catch (const Failure& failure) {
      Fail(name, failure.what());
    }
  }

  void Fail(const char* name, const std::string& reason) {
    headers_.problems.push_back(std::string(name) + ": " + reason);
  }

 private:
  MailHeaders& headers_;
};

// The ID and the name after it, or the one that is there.
TextField Sender(const MailRecord& record) {
  TextField sender = record.senderId;
  if (record.senderName.problem || sender.IsAbsent()) return record.senderName;
  if (sender.value && record.senderName.value) *sender.value += ' ' + *record.senderName.value;
  return sender;
}

std::int64_t CalendarSeconds(const platform::LocalTime& time) {
  using std::chrono::sys_days;
  const std::chrono::year_month_day date{std::chrono::year(time.year),
                                         std::chrono::month(static_cast<unsigned>(time.month)),
                                         std::chrono::day(static_cast<unsigned>(time.day))};
  const std::int64_t days = sys_days(date).time_since_epoch().count();
  return ((days * 24 + time.hour) * 60 + time.minute) * 60 + time.second;
}

// What the clock cannot convert is taken as standard time.
std::int64_t InstantOf(const platform::LocalTime& time, const platform::Clock& clock) {
  if (const auto seconds = clock.ToSeconds(time)) return *seconds;
  return CalendarSeconds(time) + std::int64_t{clock.ZoneBiasMinutes()} * 60;
}

// The calendar fields of an instant in UTC.
platform::LocalTime FieldsOf(std::int64_t instant) {
  using namespace std::chrono;
  const sys_seconds time{seconds(instant)};
  const year_month_day date(floor<days>(time));
  const hh_mm_ss timeOfDay(time - floor<days>(time));
  return {.year = int{date.year()},
          .month = static_cast<int>(unsigned{date.month()}),
          .day = static_cast<int>(unsigned{date.day()}),
          .hour = static_cast<int>(timeOfDay.hours().count()),
          .minute = static_cast<int>(timeOfDay.minutes().count()),
          .second = static_cast<int>(timeOfDay.seconds().count())};
}

// Whether a zone stands after the time; the year may stand there too.
bool NamesZone(std::string_view date) {
  const std::size_t colon = date.rfind(':');
  if (colon == std::string_view::npos) return true;
  const std::string_view afterColon = date.substr(colon + 1);
  const std::string_view rest = text::Trim(
      afterColon.substr(std::min(afterColon.find_first_not_of(DIGITS), afterColon.size())));
  return !rest.empty() && !(rest.size() == 4 && rest.find_first_not_of(DIGITS) == rest.npos);
}

void SetColumnDate(const store::Store& store, const MailRecord& record, MailHeaders& headers) {
  if (!record.date.value) return;
  headers.columnDate = CalendarSeconds(*record.date.value);
  headers.instant = InstantOf(*record.date.value, store.clock());
}

void ReadFromColumns(const store::Store& store, const MailRecord& record, MailHeaders& headers) {
  HeaderReader reader(headers);
  reader.Set(headers.subject, "subject", record.title);
  reader.Set(headers.from, "sender", Sender(record));
  reader.Set(headers.to, "recipient", record.recipients);
  // Empty for most mails, which is no problem.
  if (record.carbonCopies.value) headers.cc = UnlessBlank(*record.carbonCopies.value);
  if (record.blindCopies.value) headers.bcc = UnlessBlank(*record.blindCopies.value);
  headers.furtherFields = ColumnFields(record.furtherColumns);
  if (record.messageId.value) headers.messageId = UnlessBlank(*record.messageId.value);
  SetColumnDate(store, record, headers);
  if (record.date.problem) {
    reader.Fail("date", record.date.problem->Describe());
  } else if (!record.date.value) {
    reader.Fail("date", "the mail has no date that can be used");
  }
}

// The instant of a date line that no general reader of dates understands; without a zone it is
// local time.
std::optional<std::int64_t> InstantOfDateLine(std::string_view line, const platform::Clock& clock) {
  const auto seconds = store::ParseMailDate(line, clock);
  if (!seconds) return std::nullopt;
  return store::SubtractZoneBias(*seconds, clock);
}

void ReadFromText(const store::Store& store, const MailRecord& record, MailHeaders& headers) {
  HeaderReader reader(headers);
  reader.SetFromText(headers.subject, "subject", record.text, FieldSelector::Subject);
  reader.SetFromText(headers.from, "sender", record.text, FieldSelector::From);
  reader.SetFromText(headers.to, "recipient", record.text, FieldSelector::To);
  std::optional<std::string> date;
  reader.SetFromText(date, "date", record.text, FieldSelector::Date);
  if (date) {
    headers.instant = InstantOfDateLine(*date, store.clock());
    if (!headers.instant) reader.Fail("date", "the date text cannot be read");
  }
  if (record.text.value) {
    const auto id = store::FindHeaderLine(*record.text.value, FieldSelector::MessageId);
    if (id) headers.messageId = UnlessBlank(*id);
  }
}

void ReadFromMime(const store::Store& store, const MailRecord& record, std::string_view mail,
                  MailHeaders& headers) {
  const auto block = mime::HeaderBlock::Read(mail, mime::HeaderPlace::Mail);
  const auto read = [&block](std::string_view name) -> std::optional<std::string> {
    const auto raw = block.Find(name);
    if (!raw) return std::nullopt;
    return UnlessBlank(mime::DecodeHeaderValue(mime::TextForm::Utf8, *raw));
  };
  headers.subject = read("Subject");
  headers.from = read("From");
  headers.to = read("To");
  headers.messageId = read("Message-ID");
  const std::optional<std::string> date = read("Date");
  if (date) headers.instant = InstantOfDateLine(*date, store.clock());
  if (!headers.instant) SetColumnDate(store, record, headers);
}

}  // namespace

MailContents ReadContents(store::Store& store, const MailRecord& record) {
  switch (record.content) {
    case MailContent::LinkedFile:
    case MailContent::StoredFile:
      return FileContents(store, record);
    case MailContent::Text:
      break;
    case MailContent::ForwardedText:
      return ForwardedContents(record);
    case MailContent::WholeMail:
      return WholeMailContents(store, record);
    case MailContent::MimeFile:
      return Make(ContentsKind::MimeMail, store.ReadMimeFile(record));
  }
  return Make(ContentsKind::Text, NormalizedText(record.text));
}

MailHeaders ReadHeaders(const store::Store& store, const MailRecord& record,
                        const MailContents* contents) {
  MailHeaders headers;
  if (record.content == MailContent::WholeMail) {
    ReadFromText(store, record, headers);
  } else if (store::HasFieldsInColumns(record.content)) {
    ReadFromColumns(store, record, headers);
  } else if (contents != nullptr && contents->kind == ContentsKind::StoredFile) {
    headers.subject = record.title.value;
  } else if (contents != nullptr) {
    ReadFromMime(store, record, contents->bytes, headers);
  }
  // The mail's own date counts; without a zone it is the owner's local time.
  if (contents != nullptr && contents->HasOwnHeader()) {
    if (const auto instant = InstantOfHeader(contents->bytes)) {
      const bool isLocal = !NamesZone(FindHeaderValue(contents->bytes, "Date"));
      headers.instant = isLocal ? InstantOf(FieldsOf(*instant), store.clock()) : *instant;
      headers.columnDate.reset();
    }
  }
  return headers;
}

bool LooksLikeMail(std::string_view text) {
  const std::size_t colon = text.find(':');
  if (colon == std::string_view::npos) return false;
  std::string_view name = text.substr(0, colon);
  while (name.ends_with(' ') || name.ends_with('\t'))
    name.remove_suffix(1);
  const auto isNameByte = [](char byte) { return byte > ' ' && byte < 0x7F; };
  return !name.empty() && std::all_of(name.begin(), name.end(), isNameByte);
}

}  // namespace nimport::archive
