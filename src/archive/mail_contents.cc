#include "archive/mail_contents.h"

#include <algorithm>
#include <utility>

#include "archive/further_columns.h"
#include "archive/instant.h"
#include "mime/date.h"
#include "mime/header_block.h"
#include "mime/header_text.h"
#include "platform/local_time.h"
#include "store/mails/mail_text.h"
#include "text/ascii.h"

namespace nimport::archive {

namespace {

using store::FieldSelector;
using store::MailContent;
using store::MailRecord;
using store::TextField;

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

// Whether `text` has a mail's header, after empty lines or a mailbox's separator at most. After
// those an unknown word with a colon is no header yet.
bool HasMailHeader(std::string_view text) {
  if (LooksLikeMail(text)) return true;
  while (!text.empty() && !LooksLikeMail(text)) {
    const std::string_view line = mime::TakeLine(text);
    const bool isSeparator = line.starts_with("From ") || line.starts_with(">From ");
    if (!isSeparator && !text::Trim(line).empty()) return false;
  }
  const auto header = mime::HeaderBlock::Read(text, mime::HeaderPlace::Mail);
  for (const std::string_view name : {"From", "Date", "Subject", "Received"})
    if (!text::Trim(header.Find(name).value_or("")).empty()) return true;
  return false;
}

// The text of a mail that should have its header with it, but may not.
MailContents WholeMailContents(store::Store& store, const MailRecord& record) {
  std::string text = NormalizedText(record.text);
  if (!HasMailHeader(text)) return Make(ContentsKind::Text, std::move(text));
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

  // From the text, which is UTF-8, of a mail that has its header with it.
  void SetFromText(std::optional<std::string>& header, const char* name, const TextField& text,
                   FieldSelector selector) {
    if (text.problem) return Fail(name, text.problem->Describe());
    if (!text.value) return Fail(name, "the mail has no text");
    const auto block = mime::HeaderBlock::Read(*text.value, mime::HeaderPlace::Mail);
    const auto value = mime::DecodeField(mime::TextForm::Utf8, block, store::NameOf(selector));
    if (!value) return Fail(name, "the mail's header has no such line");
    header = UnlessBlank(*value);
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

void SetColumnDate(const store::Store& store, const MailRecord& record, MailHeaders& headers) {
  if (!record.date.value) return;
  headers.columnDate = platform::CountSeconds(*record.date.value);
  headers.instant = platform::ToInstant(*record.date.value, store.clock());
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

void ReadFromText(const store::Store& store, const MailRecord& record, MailHeaders& headers) {
  HeaderReader reader(headers);
  reader.SetFromText(headers.subject, "subject", record.text, FieldSelector::Subject);
  reader.SetFromText(headers.from, "sender", record.text, FieldSelector::From);
  reader.SetFromText(headers.to, "recipient", record.text, FieldSelector::To);
  std::optional<std::string> date;
  reader.SetFromText(date, "date", record.text, FieldSelector::Date);
  if (date) {
    const std::optional<mime::Date> read = mime::ParseDate(*date);
    if (read) headers.instant = ToInstant(*read, store.clock());
    if (!read) reader.Fail("date", "the date text cannot be read");
  }
  if (record.text.value) {
    const auto block = mime::HeaderBlock::Read(*record.text.value, mime::HeaderPlace::Mail);
    headers.messageId = UnlessBlank(block.Find("Message-ID").value_or(""));
  }
}

void ReadFromMime(std::string_view mail, MailHeaders& headers) {
  const auto block = mime::HeaderBlock::Read(mail, mime::HeaderPlace::Mail);
  const auto read = [&block](std::string_view name) -> std::optional<std::string> {
    const auto value = mime::DecodeField(mime::TextForm::Utf8, block, name);
    return value ? UnlessBlank(*value) : std::nullopt;
  };
  headers.subject = read("Subject");
  headers.from = read("From");
  headers.to = read("To");
  headers.messageId = read("Message-ID");
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
    ReadFromMime(contents->bytes, headers);
  }
  // The mail's own date counts, then the one that the store keeps of it.
  if (contents != nullptr && contents->HasOwnHeader()) {
    headers.instant.reset();
    if (const auto date = mime::FindDate(contents->bytes)) {
      headers.instant = ToInstant(*date, store.clock());
    } else if (record.date.value) {
      headers.instant = platform::ToInstant(*record.date.value, store.clock());
    }
  }
  if (headers.instant) headers.utcOffset = platform::OffsetAt(*headers.instant, store.clock());
  return headers;
}

std::optional<std::string> MailHeaders::DateText() const {
  if (!instant) return std::nullopt;
  return ToLocalText(*instant, utcOffset);
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
