#include "host/command/mail_contents.h"

#include <algorithm>
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

// An answer of the plug-in or why there is none.
struct Answer {
  std::optional<std::string> bytes;
  std::optional<ResultError> error;
};

template <typename Ask>
Answer TryToGet(Ask ask) {
  try {
    return {.bytes = ask(), .error = std::nullopt};
  } catch (const ResultError& error) {
    return {.bytes = std::nullopt, .error = error};
  }
}

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

MailContents WithoutSource(const Answer& source, const Answer& body) {
  // A forwarding mail without a forwarded text: its own text is there all the same.
  if (!body.bytes) throw ResultError(*source.error);
  std::string_view text = *body.bytes;
  if (text == PLACEHOLDER) text = {};
  if (text.ends_with('\0')) text.remove_suffix(1);
  return TextContents(text);
}

MailContents WithoutBody(std::string source, const ResultError& error) {
  // Bodies of MIME mails, and only theirs, are not there before they are counted.
  if (error.code() == RESULT_INVALID) return Make(ContentsKind::MimeMail, std::move(source));
  if (source.starts_with(LINE_END)) return TextContents(AfterHeaderBlock(source));
  return MailOrText(std::move(source));
}

// Whether a header block stands before the text. It is an empty line until the session is asked for
// headers, and then holds what was asked for; other sources stay as they are.
bool HasHeaderBlock(const std::string& source, const Mail& asked) {
  return source.starts_with(LINE_END) && asked.Source() != source;
}

// What the first body says where the source leaves it open.
MailContents FromBody(const Mail& mail, std::string source) {
  const Answer body = TryToGet([&] { return mail.Body(0).bytes; });
  if (!body.bytes) return WithoutBody(std::move(source), *body.error);
  if (*body.bytes == PLACEHOLDER) return FromColumns(mail, source);
  if (body.bytes->ends_with('\0')) {
    return FromTextBody(std::string_view(*body.bytes).substr(0, body.bytes->size() - 1), source);
  }
  return MailOrText(std::move(source));
}

}  // namespace

MailContents ReadContents(const Mail& fresh, const Mail& asked) {
  Answer source = TryToGet([&] { return fresh.Source(); });
  if (!source.bytes) {
    return WithoutSource(source, TryToGet([&] { return asked.Body(0).bytes; }));
  }
  if (source.bytes->empty()) return TextContents({});
  if (HasHeaderBlock(*source.bytes, asked)) return FromColumns(asked, *source.bytes);
  return FromBody(asked, std::move(*source.bytes));
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
