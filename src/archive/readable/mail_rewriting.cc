#include "archive/readable/mail_rewriting.h"

#include <cstddef>
#include <utility>

#include "archive/readable/field_rewriting.h"
#include "archive/readable/html_charset.h"
#include "mime/text_part.h"

namespace nimport::archive {

namespace {

using mime::TextRange;

bool HasLfOnly(std::string_view mail) {
  const std::size_t end = mail.find('\n');
  return end != mail.npos && (end == 0 || mail[end - 1] != '\r');
}

// The part's text as it goes into the mail.
mime::EncodedText Encode(const mime::Part& part, const std::string& text) {
  return mime::EncodeTextPart(mime::HasType(part, "text/html") ? WithUtf8Meta(text) : text);
}

std::size_t SizeOfLastEmptyLine(std::string_view text) {
  if (text == "\r\n" || text.ends_with("\n\r\n")) return 2;
  return text == "\n" || text.ends_with("\n\n") ? 1 : 0;
}

}  // namespace

MailRewriting::MailRewriting(std::string_view mail) : mail_(mail), hasLfOnly_(HasLfOnly(mail)) {}

void MailRewriting::Replace(TextRange range, std::string text) {
  if (hasLfOnly_) std::erase(text, '\r');
  edits_.push_back({range, std::move(text)});
}

void MailRewriting::RewritePart(const mime::Part& part, const FieldReading& reading,
                                const std::optional<std::string>& text) {
  const std::optional<mime::EncodedText> encoded =
      text ? std::optional(Encode(part, *text)) : std::nullopt;
  // What the text needs; each once, in the place of the field that there is.
  std::string type = encoded ? Utf8ContentType({}) : "";
  std::string transferEncoding =
      encoded ? "Content-Transfer-Encoding: " + encoded->transferEncoding + "\r\n" : "";
  const bool isMail = part.parent == mime::NO_PART;
  std::string version = encoded && isMail ? "MIME-Version: 1.0\r\n" : "";

  for (const HeaderField& field : ReadFields(part.header.In(mail_))) {
    const auto begin = static_cast<std::size_t>(field.raw.data() - mail_.data());
    const TextRange place{begin, begin + field.raw.size()};
    if (IsSameName(field.name, "MIME-Version")) version.clear();
    if (encoded && IsSameName(field.name, "Content-Type")) {
      const bool isFirst = !std::exchange(type, "").empty();
      Replace(place, isFirst ? Utf8ContentType(reading.toUtf8(field)) : "");
    } else if (encoded && IsSameName(field.name, "Content-Transfer-Encoding")) {
      Replace(place, std::exchange(transferEncoding, ""));
    } else if (reading.isRewritten(field)) {
      Replace(place, RewriteField(field.name, reading.toUtf8(field)));
    }
  }
  if (!encoded) return;
  AddFields(part, version + type + transferEncoding);
  ReplaceContents(part, encoded->contents);
}

void MailRewriting::AddFields(const mime::Part& part, std::string fields) {
  const std::string_view before = mail_.substr(0, part.contents.begin);
  const std::size_t end = part.contents.begin - SizeOfLastEmptyLine(before);
  // The empty line between header and contents may be missing, as may the header.
  if (end == part.contents.begin) {
    const bool isLineOpen = !before.empty() && !before.ends_with('\n');
    fields = (isLineOpen ? "\r\n" : "") + fields + "\r\n";
  }
  if (!fields.empty()) Replace({end, end}, std::move(fields));
}

void MailRewriting::ReplaceContents(const mime::Part& part, std::string contents) {
  // The line end before a boundary belongs to that.
  if (part.contents.end < mail_.size() && contents.ends_with("\r\n") &&
      !part.contents.In(mail_).ends_with('\n')) {
    contents.resize(contents.size() - 2);
  }
  Replace(part.contents, std::move(contents));
}

std::string MailRewriting::Apply(TextRange range) const {
  std::string out;
  std::size_t position = range.begin;
  for (const Edit& edit : edits_) {
    if (edit.range.begin < range.begin || edit.range.end > range.end) continue;
    out.append(mail_.substr(position, edit.range.begin - position)).append(edit.text);
    position = edit.range.end;
  }
  return out.append(mail_.substr(position, range.end - position));
}

}  // namespace nimport::archive
