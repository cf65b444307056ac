// Whole mails that the store keeps as text in code page 932.
#include <algorithm>
#include <array>
#include <optional>
#include <utility>
#include <vector>

#include "archive/compose_mail.h"
#include "archive/formats/mail_form.h"
#include "archive/header_lines.h"
#include "archive/mailboxes.h"
#include "archive/readable/field_rewriting.h"
#include "archive/readable/mail_rewriting.h"
#include "mime/header_block.h"
#include "mime/structure.h"
#include "mime/text_part.h"
#include "text/ascii.h"
#include "text/charset_label.h"
#include "text/code_page_932.h"

namespace nimport::archive {

namespace {

template <std::size_t COUNT>
bool IsOneOf(std::string_view name, const std::array<std::string_view, COUNT>& names) {
  return std::any_of(names.begin(), names.end(),
                     [&](std::string_view other) { return IsSameName(name, other); });
}

std::string ValueInUtf8(const HeaderField& field) {
  return text::Utf8FromCodePage932(field.Value());
}

bool IsEightBit(const HeaderField& field) {
  return !text::IsAscii(field.raw);
}

std::string ConvertField(const HeaderField& field) {
  if (!IsEightBit(field)) return field.Lawful();
  const std::string name(field.name);
  const std::string value = ValueInUtf8(field);
  if (IsAddressField(name))
    return name + ": " + EncodeMailboxes(ToMailboxes(value), name.size() + 2) + "\r\n";
  return RewriteField(name, value);
}

std::string ValueOf(const HeaderBlock& header, std::string_view name) {
  for (const HeaderField& field : header.fields) {
    if (IsSameName(field.name, name)) return field.Value();
  }
  return {};
}

// Whether the contents are 8-bit text whose charset the header leaves out or gives wrong. The mail
// client has converted much of it to code page 932 and left the header as it was.
bool LacksCharset(const mime::Part& part, std::string_view mail) {
  const std::string_view contents = part.contents.In(mail);
  return part.kind == mime::PartKind::Leaf && mime::HasType(part, "text/") &&
         part.encoding == mime::TransferEncoding::Identity && !text::IsAscii(contents) &&
         text::JudgeLabel(contents, part.charset) == text::LabelTruth::False;
}

std::string WithUtf8Body(const HeaderBlock& header) {
  static constexpr std::array<std::string_view, 3> REPLACED = {"MIME-Version", "Content-Type",
                                                               "Content-Transfer-Encoding"};
  std::string out;
  for (const HeaderField& field : header.fields) {
    if (!IsOneOf(field.name, REPLACED)) out += ConvertField(field);
  }
  const mime::EncodedText text = mime::EncodeTextPart(text::Utf8FromCodePage932(header.body));
  out += "MIME-Version: 1.0\r\n";
  out += Utf8ContentType(text::Utf8FromCodePage932(ValueOf(header, "Content-Type")));
  out += "Content-Transfer-Encoding: " + text.transferEncoding + "\r\n\r\n";
  return out + text.contents;
}

// What stands before the header, which ConvertWholeMail's caller found to be empty lines and a
// mailbox's separator, as fields: nothing may precede the header.
std::string FieldsBefore(std::string_view before) {
  std::string fields;
  while (!before.empty()) {
    const std::string_view line = text::Trim(mime::TakeLine(before));
    if (!line.empty()) fields += RewriteField(SEPARATOR_FIELD, text::Utf8FromCodePage932(line));
  }
  return fields;
}

// The parts of a multipart mail with a charset where they lack one. Their headers become ASCII.
std::string ConvertParts(std::string_view mail, const std::vector<mime::Part>& parts) {
  MailRewriting rewriting(mail);
  const FieldReading reading{.isRewritten = IsEightBit, .toUtf8 = ValueInUtf8};
  for (const mime::Part& part : parts) {
    std::optional<std::string> text;
    if (LacksCharset(part, mail)) text = text::Utf8FromCodePage932(part.contents.In(mail));
    rewriting.RewritePart(part, reading, text);
  }
  return rewriting.Apply({0, mail.size()});
}

}  // namespace

std::string ConvertWholeMail(std::string mail) {
  const auto place = mime::HeaderBlock::Read(mail, mime::HeaderPlace::Mail).lines();
  const std::size_t begin =
      place.empty() ? 0 : static_cast<std::size_t>(place.data() - mail.data());
  if (begin > 0) mail.replace(0, begin, FieldsBefore(std::string_view(mail).substr(0, begin)));
  const HeaderBlock header = SplitHeader(mail);
  const bool isLawful =
      header.isWellFormed && std::all_of(header.fields.begin(), header.fields.end(),
                                         [](const HeaderField& field) { return field.IsLawful(); });
  if (isLawful && text::IsAscii(mail)) return mail;
  std::string out;
  for (const HeaderField& field : header.fields)
    out += ConvertField(field);
  if (!out.ends_with('\n')) out += "\r\n";
  out.append("\r\n").append(header.body);
  if (text::IsAscii(header.body)) return out;
  const std::vector<mime::Part> parts = mime::ReadStructure(mime::TextForm::Utf8, out);
  if (LacksCharset(parts.front(), out)) return WithUtf8Body(header);
  return ConvertParts(out, parts);
}

}  // namespace nimport::archive
