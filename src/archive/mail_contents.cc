#include "archive/mail_contents.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "host/result_error.h"

namespace nimport::command {

namespace {

using host::ExtractedFile;
using host::Mail;
using host::ResultError;

constexpr std::string_view LINE_END = "\r\n";
// What a body file holds when there is no text.
constexpr std::string_view PLACEHOLDER{"DEFAULT\0", 8};

MailContents Make(ContentsKind kind, std::string bytes) {
  MailContents contents;
  contents.kind = kind;
  contents.bytes = std::move(bytes);
  return contents;
}

MailContents TextContents(std::string_view text) {
  return Make(ContentsKind::Text, std::string(text));
}

MailContents MailOrText(std::string source) {
  const auto kind = LooksLikeMail(source) ? ContentsKind::WholeMail : ContentsKind::Text;
  return Make(kind, std::move(source));
}

// The source without the empty header block that stands before a text held in columns.
std::string_view AfterHeaderBlock(std::string_view source) {
  if (source.starts_with(LINE_END)) source.remove_prefix(LINE_END.size());
  return source;
}

MailContents FileContents(const Mail& mail) {
  MailContents contents = Make(ContentsKind::StoredFile, {});
  try {
    ExtractedFile file = mail.Attached(0);
    contents.bytes = std::move(file.bytes);
    contents.fileName = std::move(file.name);
    contents.extension = std::move(file.extension);
  } catch (const ResultError& error) {
    if (error.code() == RESULT_NO_MEMORY) throw;
    contents.missing = error.reason();
  }
  return contents;
}

// A mail whose source begins with a header block: the headers are apart.
MailContents FromColumns(const Mail& mail, std::string_view source) {
  const std::string_view text = AfterHeaderBlock(source);
  if (!text.empty() || mail.AttachedCount() == 0) return TextContents(text);
  return FileContents(mail);
}

// A text from a column: its file ends with a NUL byte.
MailContents FromTextBody(std::string_view text, std::string_view source) {
  // Where a forwarded text follows, it stands only in the source, which then has no header block.
  const bool hasHeaderBlock = source.starts_with(LINE_END) && source.substr(2) == text;
  if (!hasHeaderBlock && source.starts_with(text)) return TextContents(source);
  return TextContents(text);
}

// A forwarding mail without a forwarded text: its own text is there all the same.
MailContents WithoutSource(const Mail& mail, const ResultError& error) {
  ExtractedFile body;
  if (mail.TryBody(0, body) != RESULT_OK) throw error;
  std::string_view text = body.bytes;
  if (text == PLACEHOLDER) text = {};
  if (text.ends_with('\0')) text.remove_suffix(1);
  return TextContents(text);
}

MailContents WithoutBody(std::string&& source, ResultCode code) {
  // Bodies of MIME mails, and only theirs, are not there before they are counted.
  if (code == RESULT_INVALID) return Make(ContentsKind::MimeMail, std::move(source));
  if (source.starts_with(LINE_END)) return TextContents(AfterHeaderBlock(source));
  return MailOrText(std::move(source));
}

// Whether `source` begins as a header block does that the plug-in composes. Of what was asked for,
// the date stands first, in the form "Mon Sep 21 20:15:42 1998".
bool MayBeComposed(std::string_view source) {
  constexpr std::string_view DATE = "Date: ";
  constexpr std::size_t DATE_BYTES = 24;
  if (source.starts_with(DATE)) {
    source.remove_prefix(DATE.size());
    return source.size() > DATE_BYTES && source[3] == ' ' &&
           source.substr(DATE_BYTES).starts_with(LINE_END);
  }
  constexpr std::array<std::string_view, 6> BEGINNINGS = {
      LINE_END, "From: ", "Message-ID: ", "To: ", "Subject: ", "Content-Type: "};
  return std::any_of(BEGINNINGS.begin(), BEGINNINGS.end(),
                     [&](std::string_view beginning) { return source.starts_with(beginning); });
}

// What the first body says where the source leaves it open.
MailContents FromBody(const Mail& mail, std::string source) {
  ExtractedFile body;
  const ResultCode code = mail.TryBody(0, body);
  if (code != RESULT_OK) return WithoutBody(std::move(source), code);
  if (body.bytes == PLACEHOLDER) return FromColumns(mail, source);
  if (body.bytes.ends_with('\0')) {
    return FromTextBody(std::string_view(body.bytes).substr(0, body.bytes.size() - 1), source);
  }
  return MailOrText(std::move(source));
}

std::string SourceOf(const Mail& mail, std::optional<ResultError>& error) {
  try {
    return mail.Source();
  } catch (const ResultError& failure) {
    error = failure;
    return {};
  }
}

}  // namespace

MailContents ReadContents(const Mail& fresh, const Mail& asked,
                          const std::function<void()>& askHeaders) {
  std::optional<ResultError> error;
  std::string askedSource = SourceOf(asked, error);
  if (error) return WithoutSource(asked, *error);
  if (askedSource.empty()) return TextContents({});
  if (!MayBeComposed(askedSource)) return FromBody(asked, std::move(askedSource));
  // A header block that the plug-in composes is an empty line until the session is asked for
  // headers, and then holds what was asked for last, be it of another mail; other sources stay as
  // they are.
  std::string source = fresh.Source();
  if (!source.starts_with(LINE_END)) return FromBody(asked, std::move(source));
  if (source != askedSource) return FromColumns(asked, source);
  askHeaders();
  if (source != asked.Source()) return FromColumns(asked, source);
  return FromBody(asked, std::move(source));
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

}  // namespace nimport::command
