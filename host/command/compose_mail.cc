#include "host/command/compose_mail.h"

#include <algorithm>
#include <array>
#include <memory>
#include <utility>

#include <gmime/gmime.h>

#include "host/command/encoding.h"
#include "host/command/mail_date.h"
#include "host/command/mailboxes.h"
#include "host/command/safe_name.h"
#include "host/text.h"

namespace nimport::command {

namespace {

struct Unref {
  void operator()(gpointer object) const { g_object_unref(object); }
};
struct Free {
  void operator()(gpointer memory) const { g_free(memory); }
};

// 32 hexadecimal digits that differ whenever what the store holds differs.
std::string DigestOf(const MailHeaders& headers, const MailContents& contents) {
  GChecksum* const checksum = g_checksum_new(G_CHECKSUM_SHA256);
  const auto add = [&](std::string_view bytes) {
    const std::string length = std::to_string(bytes.size()) + ':';
    for (const std::string_view part : {std::string_view(length), bytes}) {
      g_checksum_update(checksum, reinterpret_cast<const guchar*>(part.data()),
                        static_cast<gssize>(part.size()));
    }
  };
  for (const auto& text : {headers.subject, headers.from, headers.to, headers.messageId}) {
    add(text.value_or(""));
  }
  add(headers.date ? std::to_string(*headers.date) : "");
  add(contents.bytes);
  add(contents.extension);
  std::string digest = g_checksum_get_string(checksum);
  g_checksum_free(checksum);
  return digest.substr(0, 32);
}

void AppendField(std::string& mail, std::string_view name, std::string_view value) {
  mail.append(name).append(": ").append(value).append("\r\n");
}

std::string EncodeTextOf(std::string_view name, std::string_view text) {
  return EncodeHeaderText(text, name.size() + 2);
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

void AppendSender(std::string& mail, const MailHeaders& headers, std::string_view memberId) {
  if (headers.from) {
    AppendAddresses(mail, "From", *headers.from);
    return;
  }
  // Only mails that the owner sent have a recipient and no sender.
  AppendField(mail, "From", MemberAddress(headers.to ? memberId : std::string_view()));
}

std::string MessageIdOf(const MailHeaders& headers, const std::string& digest) {
  if (!headers.messageId) return '<' + digest + '@' + std::string(MEMBER_DOMAIN) + '>';
  return headers.messageId->starts_with('<') ? *headers.messageId : '<' + *headers.messageId + '>';
}

std::string HeaderLines(const MailHeaders& headers, const FinishedMail& mail,
                        std::string_view memberId) {
  std::string lines;
  if (mail.instant) AppendField(lines, "Date", ToMailDate(*mail.instant));
  AppendSender(lines, headers, memberId);
  if (headers.to) AppendAddresses(lines, "To", *headers.to);
  if (headers.subject) AppendField(lines, "Subject", EncodeTextOf("Subject", *headers.subject));
  AppendField(lines, "Message-ID", MessageIdOf(headers, mail.digest));
  AppendField(lines, "MIME-Version", "1.0");
  return lines;
}

void AppendText(std::string& mail, std::string_view codePage932) {
  const EncodedText text = EncodeTextPart(host::CodePage932ToUtf8(codePage932));
  AppendField(mail, "Content-Type", text.contentType);
  AppendField(mail, "Content-Transfer-Encoding", text.transferEncoding);
  mail.append("\r\n").append(text.contents);
}

const char* ContentTypeOf(std::string_view extension) {
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
  std::unique_ptr<gchar, Free> small(
      g_ascii_strdown(extension.data(), static_cast<gssize>(extension.size())));
  const auto isMeant = [&](const Entry& entry) { return entry.extension == small.get(); };
  const auto found = std::find_if(ENTRIES.begin(), ENTRIES.end(), isMeant);
  return found == ENTRIES.end() ? "application/octet-stream" : found->contentType;
}

// The store's name of the file is not answered: only its extension is known.
std::string FileNameOf(const MailHeaders& headers, std::string_view extension) {
  std::string name = ToSafeName(headers.subject.value_or("file"), MAX_NAME_BYTES / 2);
  const bool isNamedAlready = name.size() > extension.size() &&
                              g_ascii_strncasecmp(name.data() + name.size() - extension.size(),
                                                  extension.data(), extension.size()) == 0;
  if (!isNamedAlready) name += ToSafeName("x" + std::string(extension), 64).substr(1);
  return name;
}

// Content-Type and Content-Disposition with their parameters encoded.
void AppendFileFields(std::string& mail, const std::string& fileName, const char* contentType) {
  GMimeFormatOptions* const format = g_mime_format_options_new();
  g_mime_format_options_set_newline_format(format, GMIME_NEWLINE_FORMAT_DOS);
  g_mime_format_options_set_param_encoding_method(format, GMIME_PARAM_ENCODING_METHOD_RFC2231);
  const std::unique_ptr<GMimeContentType, Unref> type(
      g_mime_content_type_parse(nullptr, contentType));
  g_mime_content_type_set_parameter(type.get(), "name", fileName.c_str());
  const std::unique_ptr<GMimeContentDisposition, Unref> disposition(
      g_mime_content_disposition_new());
  g_mime_content_disposition_set_disposition(disposition.get(), "attachment");
  g_mime_content_disposition_set_parameter(disposition.get(), "filename", fileName.c_str());
  const std::unique_ptr<gchar, Free> typeText(g_mime_content_type_encode(type.get(), format));
  const std::unique_ptr<gchar, Free> dispositionText(
      g_mime_content_disposition_encode(disposition.get(), format));
  g_mime_format_options_free(format);
  // The values come with their first blank and their line end.
  mail.append("Content-Type:").append(typeText.get());
  mail.append("Content-Disposition:").append(dispositionText.get());
}

void AppendFile(std::string& mail, const MailHeaders& headers, const MailContents& contents,
                const std::string& digest) {
  const std::string boundary = "=_" + digest;
  AppendField(mail, "Content-Type", "multipart/mixed; boundary=\"" + boundary + "\"");
  mail.append("\r\n--" + boundary + "\r\n");
  AppendFileFields(mail, FileNameOf(headers, contents.extension),
                   ContentTypeOf(contents.extension));
  AppendField(mail, "Content-Transfer-Encoding", "base64");
  mail.append("\r\n").append(EncodeBase64(contents.bytes));
  mail.append("\r\n--" + boundary + "--\r\n");
}

}  // namespace

FinishedMail ComposeMail(const MailHeaders& headers, const MailContents& contents,
                         std::string_view memberId) {
  FinishedMail mail;
  mail.digest = DigestOf(headers, contents);
  switch (contents.kind) {
    case ContentsKind::MimeMail:
      mail.instant = InstantOfMail(headers.date, contents.bytes);
      mail.bytes = contents.bytes;
      return mail;
    case ContentsKind::WholeMail:
      mail.instant = headers.date ? std::optional<std::int64_t>(*headers.date)
                                  : InstantOfHeader(contents.bytes);
      mail.bytes = ConvertWholeMail(contents.bytes);
      return mail;
    case ContentsKind::Text:
    case ContentsKind::StoredFile:
      break;
  }
  if (headers.date) mail.instant = InstantOfColumnDate(*headers.date);
  mail.bytes = HeaderLines(headers, mail, memberId);
  if (contents.kind == ContentsKind::StoredFile) {
    AppendFile(mail.bytes, headers, contents, mail.digest);
  } else {
    AppendText(mail.bytes, contents.bytes);
  }
  return mail;
}

}  // namespace nimport::command
