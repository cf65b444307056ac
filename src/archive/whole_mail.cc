// Whole mails that the store keeps as text in code page 932.
#include <algorithm>
#include <array>
#include <optional>
#include <utility>
#include <vector>

#include "archive/compose_mail.h"
#include "archive/header_lines.h"
#include "archive/mailboxes.h"
#include "mime/header_encoding.h"
#include "mime/parameterized_value.h"
#include "mime/text_part.h"
#include "text/ascii.h"
#include "text/code_page_932.h"
#include "text/utf8.h"

namespace nimport::archive {

namespace {

template <std::size_t COUNT>
bool IsOneOf(std::string_view name, const std::array<std::string_view, COUNT>& names) {
  return std::any_of(names.begin(), names.end(),
                     [&](std::string_view other) { return IsSameName(name, other); });
}

bool IsAddressField(std::string_view name) {
  static constexpr std::array<std::string_view, 11> NAMES = {
      "From",        "To",        "Cc",        "Bcc",        "Reply-To",       "Sender",
      "Resent-From", "Resent-To", "Resent-Cc", "Resent-Bcc", "Resent-Reply-To"};
  return IsOneOf(name, NAMES);
}

constexpr std::string_view PLAIN_TEXT = "text/plain";

// A field as "NAME: WORD; PARAMETERS" with its line end; the parameters are code page 932.
std::string WithParameters(const std::string& name, std::string_view word,
                           std::vector<mime::Parameter> parameters) {
  for (mime::Parameter& parameter : parameters)
    parameter.value = text::Utf8FromCodePage932(parameter.value);
  return name + ": " + mime::EncodeParameters(word, parameters, name.size() + 2) + "\r\n";
}

std::string MediaTypeOf(const mime::ParameterizedValue& value) {
  std::string type = mime::ToMediaType(value.word());
  return type.empty() ? std::string(PLAIN_TEXT) : type;
}

std::string ConvertField(const HeaderField& field) {
  if (text::IsAscii(field.raw)) return field.Lawful();
  const std::string value = text::Utf8FromCodePage932(field.Value());
  const std::string name(field.name);
  const std::size_t column = name.size() + 2;
  if (IsAddressField(name))
    return name + ": " + EncodeMailboxes(ToMailboxes(value), column) + "\r\n";
  if (IsSameName(name, "Content-Type")) {
    const auto type = mime::ParameterizedValue::Parse(mime::TextForm::CodePage932, field.Value());
    return WithParameters(name, MediaTypeOf(type), type.All());
  }
  if (IsSameName(name, "Content-Disposition")) {
    const auto disposition =
        mime::ParameterizedValue::Parse(mime::TextForm::CodePage932, field.Value());
    const bool isInline = IsSameName(disposition.word(), "inline");
    return WithParameters(name, isInline ? "inline" : "attachment", disposition.All());
  }
  return name + ": " + mime::EncodeHeaderText(value, column) + "\r\n";
}

std::string ValueOf(const HeaderBlock& header, std::string_view name) {
  for (const HeaderField& field : header.fields) {
    if (IsSameName(field.name, name)) return field.Value();
  }
  return {};
}

// Whether the body is 8-bit text that says nothing, or something impossible, about its charset.
bool LacksCharset(const HeaderBlock& header) {
  if (text::IsAscii(header.body)) return false;
  const std::string transferEncoding = ValueOf(header, "Content-Transfer-Encoding");
  if (IsSameName(transferEncoding, "base64") || IsSameName(transferEncoding, "quoted-printable")) {
    return false;
  }
  const std::string value = ValueOf(header, "Content-Type");
  if (value.empty()) return true;
  const auto type = mime::ParameterizedValue::Parse(mime::TextForm::CodePage932, value);
  if (!IsSameName(MediaTypeOf(type).substr(0, 5), "text/")) return false;
  const std::optional<std::string> charset = type.Find("charset");
  if (!charset) return true;
  // 7-bit charsets: the mail client has converted the text and left the header as it was.
  static constexpr std::array<std::string_view, 5> SEVEN_BIT = {
      "us-ascii", "iso-2022-jp", "iso-2022-jp-1", "iso-2022-jp-2", "iso-2022-jp-3"};
  return IsOneOf(*charset, SEVEN_BIT);
}

// The field for a body in UTF-8, with whatever other parameters the mail gives.
std::string Utf8ContentType(const std::string& value) {
  const auto type = mime::ParameterizedValue::Parse(mime::TextForm::CodePage932, value);
  std::vector<mime::Parameter> parameters = {{"charset", "utf-8"}};
  for (mime::Parameter& parameter : type.All()) {
    if (!IsSameName(parameter.name, "charset")) parameters.push_back(std::move(parameter));
  }
  return WithParameters("Content-Type", MediaTypeOf(type), std::move(parameters));
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
  out += Utf8ContentType(ValueOf(header, "Content-Type"));
  out += "Content-Transfer-Encoding: " + text.transferEncoding + "\r\n\r\n";
  return out + text.contents;
}

}  // namespace

std::string ConvertWholeMail(std::string mail) {
  const HeaderBlock header = SplitHeader(mail);
  const bool isLawful =
      header.isWellFormed && std::all_of(header.fields.begin(), header.fields.end(),
                                         [](const HeaderField& field) { return field.IsLawful(); });
  if (isLawful && text::IsAscii(mail)) return mail;
  if (LacksCharset(header)) return WithUtf8Body(header);
  std::string out;
  for (const HeaderField& field : header.fields)
    out += ConvertField(field);
  if (!out.ends_with('\n')) out += "\r\n";
  return out.append("\r\n").append(header.body);
}

}  // namespace nimport::archive
