#include "archive/compose_mail.h"

#include <algorithm>
#include <array>
#include <utility>

#include "archive/digest.h"
#include "archive/instant.h"
#include "archive/mailboxes.h"
#include "archive/safe_name.h"
#include "mime/header_encoding.h"
#include "mime/text_part.h"
#include "mime/transfer_encoding.h"
#include "text/ascii.h"
#include "text/code_page_932.h"
#include "text/utf8.h"

namespace nimport::archive {

namespace {

// More than what follows a file's lines.
constexpr std::size_t MAX_CLOSING_BYTES = 256;

void AppendField(std::string& mail, std::string_view name, std::string_view value) {
  mail.append(name).append(": ").append(value).append("\r\n");
}

std::string EncodeTextOf(std::string_view name, std::string_view text) {
  return mime::EncodeHeaderText(text, name.size() + 2);
}

// An address header, and beside it the original text wherever addresses had to be made up.
void AppendAddresses(std::string& mail, const std::string& name, const std::string& text) {
  const std::vector<Mailbox> mailboxes = ToMailboxes(text);
  if (mailboxes.empty()) return;
  AppendField(mail, name, EncodeMailboxes(mailboxes, name.size() + 2));
  const auto isInternet = [](const Mailbox& mailbox) { return mailbox.isInternet; };
  if (std::all_of(mailboxes.begin(), mailboxes.end(), isInternet)) return;
  const std::string originalName = "X-Nimport-" + name;
  AppendField(mail, originalName, EncodeTextOf(originalName, text));
}

// Only mails that the owner sent have a recipient and no sender.
bool IsFromOwner(const MailHeaders& headers) {
  return !headers.from && headers.to.has_value();
}

void AppendSender(std::string& mail, const MailHeaders& headers, std::string_view memberId) {
  if (headers.from) {
    AppendAddresses(mail, "From", *headers.from);
    return;
  }
  const bool isFromOwner = IsFromOwner(headers);
  AppendField(mail, "From",
              isFromOwner && memberId.empty()
                  ? std::string(UNDISCLOSED_SENDER)
                  : MemberAddress(isFromOwner ? memberId : std::string_view()));
}

// Mails with the same headers have each a Message-ID of their own where their files differ.
std::string MessageIdOf(const std::string& key, const MailContents& contents) {
  const bool isFile = contents.kind == ContentsKind::StoredFile;
  const std::string digest =
      isFile ? ToHex(DigestOf({key, contents.fileName, contents.bytes})) : key;
  return '<' + digest + '@' + std::string(MEMBER_DOMAIN) + '>';
}

std::string HeaderLines(const MailHeaders& headers, const MailContents& contents,
                        const FinishedMail& mail, std::string_view memberId) {
  std::string lines;
  if (mail.instant) AppendField(lines, "Date", ToMailDate(*mail.instant, headers.utcOffset));
  AppendSender(lines, headers, memberId);
  if (headers.to) AppendAddresses(lines, "To", *headers.to);
  if (headers.cc) AppendAddresses(lines, "Cc", *headers.cc);
  if (headers.bcc) AppendAddresses(lines, "Bcc", *headers.bcc);
  if (headers.subject) AppendField(lines, "Subject", EncodeTextOf("Subject", *headers.subject));
  AppendField(lines, "Message-ID", MessageIdOf(mail.key, contents));
  if (!mail.isComplete) AppendField(lines, "X-Nimport-Missing", "attached file");
  for (const HeaderText& field : headers.furtherFields)
    AppendField(lines, field.name, EncodeTextOf(field.name, field.value));
  AppendField(lines, "MIME-Version", "1.0");
  return lines;
}

void AppendText(std::string& mail, std::string_view utf8) {
  const mime::EncodedText text = mime::EncodeTextPart(utf8);
  AppendField(mail, "Content-Type", text.contentType);
  AppendField(mail, "Content-Transfer-Encoding", text.transferEncoding);
  mail.append("\r\n").append(text.contents);
}

std::string ContentTypeOf(std::string_view extension) {
  struct Entry {
    std::string_view extension;
    const char* contentType;
  };
  static constexpr std::array<Entry, 26> ENTRIES = {{
      {".bmp", "image/bmp"},
      {".cab", "application/vnd.ms-cab-compressed"},
      {".csv", "text/csv"},
      {".doc", "application/msword"},
      {".gif", "image/gif"},
      {".gz", "application/gzip"},
      {".htm", "text/html"},
      {".html", "text/html"},
      {".jpeg", "image/jpeg"},
      {".jpg", "image/jpeg"},
      {".lzh", "application/x-lzh-compressed"},
      {".mid", "audio/midi"},
      {".mp3", "audio/mpeg"},
      {".mpg", "video/mpeg"},
      {".pdf", "application/pdf"},
      {".png", "image/png"},
      {".ppt", "application/vnd.ms-powerpoint"},
      {".ps", "application/postscript"},
      {".rtf", "application/rtf"},
      {".tar", "application/x-tar"},
      {".tif", "image/tiff"},
      {".tiff", "image/tiff"},
      {".txt", "text/plain"},
      {".wav", "audio/x-wav"},
      {".xls", "application/vnd.ms-excel"},
      {".zip", "application/zip"},
  }};
  const auto isMeant = [&](const Entry& entry) {
    return text::EqualsIgnoringCase(entry.extension, extension);
  };
  const auto found = std::find_if(ENTRIES.begin(), ENTRIES.end(), isMeant);
  return found == ENTRIES.end() ? "application/octet-stream" : found->contentType;
}

// A file whose name in the store is not known is called after the mail's subject.
std::string FileNameOf(const MailHeaders& headers, const MailContents& contents) {
  if (!contents.fileName.empty()) return ToSafeName(contents.fileName);
  const std::string_view extension = contents.extension;
  std::string name = ToSafeName(headers.subject.value_or("file"), MAX_NAME_BYTES / 2);
  const bool isNamedAlready =
      name.size() > extension.size() &&
      text::EqualsIgnoringCase(std::string_view(name).substr(name.size() - extension.size()),
                               extension);
  if (!isNamedAlready) name += ToSafeName("x" + std::string(extension), 64).substr(1);
  return name;
}

// Without a second copy of a big file's lines.
void AppendBase64(std::string& mail, std::string_view bytes) {
  mime::Base64Encoder encoder(bytes);
  mail.reserve(mail.size() + encoder.Size() + MAX_CLOSING_BYTES);
  std::array<char, 16384> piece;
  while (const std::size_t size = encoder.Read(piece))
    mail.append(piece.data(), size);
}

void AppendFile(std::string& mail, const MailHeaders& headers, const MailContents& contents,
                const std::string& key) {
  const std::string boundary = "=_" + key;
  AppendField(mail, "Content-Type", "multipart/mixed; boundary=\"" + boundary + "\"");
  mail.append("\r\n--" + boundary + "\r\n");
  const std::string name = FileNameOf(headers, contents);
  // Both ways in which readers look for names beyond ASCII.
  AppendField(mail, "Content-Type",
              ContentTypeOf(contents.extension) + mime::EncodeWordParameter("name", name));
  AppendField(mail, "Content-Disposition", "attachment" + mime::EncodeParameter("filename", name));
  AppendField(mail, "Content-Transfer-Encoding", "base64");
  mail.append("\r\n");
  AppendBase64(mail, contents.bytes);
  mail.append("\r\n--" + boundary + "--\r\n");
}

// In a mail without any LF each CR becomes CR LF: no program of today reads lines that end with CR
// alone, as those of old Macintosh computers do.
void MakeLineEndsOfReturns(std::string& mail) {
  if (mail.find('\n') != mail.npos || mail.find('\r') == mail.npos) return;
  std::string lines;
  lines.reserve(mail.size() + static_cast<std::size_t>(std::ranges::count(mail, '\r')));
  for (const char character : mail) {
    lines += character;
    if (character == '\r') lines += '\n';
  }
  mail = std::move(lines);
}

// Puts a field before the header. A line that a mailbox has put there stays the first one.
void PutBefore(std::string& mail, const HeaderText& field) {
  std::size_t at = 0;
  if (mail.starts_with("From ")) {
    const std::size_t end = mail.find('\n');
    at = end == std::string::npos ? mail.size() : end + 1;
  }
  std::string line;
  AppendField(line, field.name, EncodeTextOf(field.name, field.value));
  mail.insert(at, line);
}

}  // namespace

std::string KeyOf(const MailHeaders& headers, const MailContents& contents) {
  std::string date;
  if (headers.columnDate) date = std::to_string(*headers.columnDate);
  if (contents.HasOwnHeader()) return ToHex(DigestOf({date, contents.bytes}));
  const auto textOf = [](const std::optional<std::string>& text) {
    return text ? std::string_view(*text) : std::string_view();
  };
  const bool isFile = contents.kind == ContentsKind::StoredFile;
  return ToHex(DigestOf({textOf(headers.subject), textOf(headers.from), textOf(headers.to), date,
                         isFile ? std::string_view("file") : std::string_view(contents.bytes)}));
}

FinishedMail ComposeMail(const MailHeaders& headers, MailContents& contents,
                         std::string_view memberId) {
  FinishedMail mail;
  mail.key = KeyOf(headers, contents);
  mail.isComplete = contents.missing.empty();
  mail.instant = headers.instant;
  switch (contents.kind) {
    case ContentsKind::MimeMail:
      mail.bytes = std::move(contents.bytes);
      MakeLineEndsOfReturns(mail.bytes);
      if (contents.leadingField) PutBefore(mail.bytes, *contents.leadingField);
      return mail;
    case ContentsKind::WholeMail:
      mail.bytes = ConvertWholeMail(std::move(contents.bytes));
      if (contents.leadingField) PutBefore(mail.bytes, *contents.leadingField);
      return mail;
    case ContentsKind::Text:
    case ContentsKind::StoredFile:
      break;
  }
  mail.isSenderUndisclosed = IsFromOwner(headers) && memberId.empty();
  mail.bytes = HeaderLines(headers, contents, mail, memberId);
  if (contents.kind == ContentsKind::StoredFile && mail.isComplete) {
    AppendFile(mail.bytes, headers, contents, mail.key);
  } else {
    AppendText(mail.bytes, contents.bytes);
  }
  return mail;
}

}  // namespace nimport::archive
