#include "archive/mail_reader.h"

#include <stdexcept>
#include <utility>

#include "host/result_error.h"
#include "text/ascii.h"

namespace nimport::command {

namespace {

constexpr std::string_view PLACEHOLDER = "DEFAULT";

template <typename Ask>
auto AskFor(const char* field, MailHeaders& headers, Ask ask) -> std::optional<decltype(ask())> {
  try {
    return ask();
  } catch (const host::ResultError& error) {
    headers.problems.push_back(std::string(field) + ": " + error.reason());
    return std::nullopt;
  }
}

std::optional<std::string> WithoutPlaceholder(std::optional<std::string> text) {
  if (!text) return std::nullopt;
  std::string trimmed(text::Trim(*text));
  if (trimmed.empty() || trimmed == PLACEHOLDER) return std::nullopt;
  return trimmed;
}

const host::Folder& SameFolder(const host::MailSession& session, const FolderPlace& place) {
  for (const FolderPlace& other : AllFolders(session)) {
    if (other.index == place.index && other.Name() == place.Name()) return *other.folder;
  }
  throw std::runtime_error("the store has changed while it was read");
}

}  // namespace

MailHeaders ReadHeaders(const host::Mail& mail) {
  MailHeaders headers;
  ReadSubject(mail, headers);
  headers.from = WithoutPlaceholder(AskFor("sender", headers, [&] { return mail.From(); }));
  headers.to = WithoutPlaceholder(AskFor("recipient", headers, [&] { return mail.To(); }));
  ReadDate(mail, headers);
  return headers;
}

void ReadSubject(const host::Mail& mail, MailHeaders& headers) {
  headers.subject = WithoutPlaceholder(AskFor("subject", headers, [&] { return mail.Subject(); }));
}

void ReadDate(const host::Mail& mail, MailHeaders& headers) {
  headers.date = AskFor("date", headers, [&] { return mail.Date(); });
}

std::optional<std::string> ReadMessageId(const host::Mail& mail) {
  MailHeaders ignored;
  auto messageId = WithoutPlaceholder(AskFor("", ignored, [&] { return mail.MessageId(); }));
  // Where there is none, the plug-in makes one up of the placeholder and the date.
  if (messageId && messageId->starts_with(PLACEHOLDER)) messageId.reset();
  return messageId;
}

MailReader::OpenFolder::OpenFolder(const MailReader& reader, const FolderPlace& place)
    : headers_(SameFolder(reader.headers_, place)), contents_(SameFolder(reader.contents_, place)) {
  if (headers_.mailCount() != contents_.mailCount()) {
    throw std::runtime_error("the store has changed while it was read");
  }
}

}  // namespace nimport::command
