// Whole mails that the store keeps as text in code page 932.
#include <algorithm>
#include <array>
#include <cctype>
#include <memory>

#include <gmime/gmime.h>

#include "host/command/compose_mail.h"
#include "host/command/header_lines.h"
#include "host/command/mailboxes.h"
#include "host/text.h"
#include "mime/header_encoding.h"

namespace nimport::command {

namespace {

struct Unref {
  void operator()(gpointer object) const { g_object_unref(object); }
};
struct Free {
  void operator()(gpointer memory) const { g_free(memory); }
};

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

// The value of a field with parameters, its 8-bit parameters encoded.
template <typename Parse, typename EncodeValue>
std::string EncodeParameters(const std::string& value, Parse parse, EncodeValue encode) {
  GMimeFormatOptions* const format = g_mime_format_options_new();
  g_mime_format_options_set_newline_format(format, GMIME_NEWLINE_FORMAT_DOS);
  const std::unique_ptr<std::remove_pointer_t<decltype(parse(nullptr, ""))>, Unref> parsed(
      parse(nullptr, value.c_str()));
  const std::unique_ptr<gchar, Free> text(encode(parsed.get(), format));
  g_mime_format_options_free(format);
  return text.get();
}

std::string ConvertField(const HeaderField& field) {
  if (host::IsAscii(field.raw)) return field.Lawful();
  const std::string value = host::CodePage932ToUtf8(field.Value());
  const std::string name(field.name);
  const std::size_t column = name.size() + 2;
  if (IsAddressField(name))
    return name + ": " + EncodeMailboxes(ToMailboxes(value), column) + "\r\n";
  // These two come with their first blank and their line end.
  if (IsSameName(name, "Content-Type")) {
    return name + ":" +
           EncodeParameters(value, g_mime_content_type_parse, g_mime_content_type_encode);
  }
  if (IsSameName(name, "Content-Disposition")) {
    return name + ":" +
           EncodeParameters(value, g_mime_content_disposition_parse,
                            g_mime_content_disposition_encode);
  }
  return name + ": " + EncodeHeaderText(value, column) + "\r\n";
}

std::string ValueOf(const HeaderBlock& header, std::string_view name) {
  for (const HeaderField& field : header.fields) {
    if (IsSameName(field.name, name)) return field.Value();
  }
  return {};
}

// Whether the body is 8-bit text that says nothing, or something impossible, about its charset.
bool LacksCharset(const HeaderBlock& header) {
  if (host::IsAscii(header.body)) return false;
  const std::string transferEncoding = ValueOf(header, "Content-Transfer-Encoding");
  if (IsSameName(transferEncoding, "base64") || IsSameName(transferEncoding, "quoted-printable")) {
    return false;
  }
  const std::string value = ValueOf(header, "Content-Type");
  if (value.empty()) return true;
  const std::unique_ptr<GMimeContentType, Unref> type(
      g_mime_content_type_parse(nullptr, value.c_str()));
  if (!g_mime_content_type_is_type(type.get(), "text", "*")) return false;
  const char* const charset = g_mime_content_type_get_parameter(type.get(), "charset");
  if (charset == nullptr) return true;
  // 7-bit charsets: the mail client has converted the text and left the header as it was.
  static constexpr std::array<std::string_view, 5> SEVEN_BIT = {
      "us-ascii", "iso-2022-jp", "iso-2022-jp-1", "iso-2022-jp-2", "iso-2022-jp-3"};
  return IsOneOf(charset, SEVEN_BIT);
}

// "text/plain" with charset UTF-8 and whatever other parameters the mail gives.
std::string Utf8ContentType(const std::string& value) {
  const std::unique_ptr<GMimeContentType, Unref> type(
      g_mime_content_type_parse(nullptr, value.empty() ? "text/plain" : value.c_str()));
  g_mime_content_type_set_parameter(type.get(), "charset", "utf-8");
  GMimeFormatOptions* const format = g_mime_format_options_new();
  g_mime_format_options_set_newline_format(format, GMIME_NEWLINE_FORMAT_DOS);
  const std::unique_ptr<gchar, Free> text(g_mime_content_type_encode(type.get(), format));
  g_mime_format_options_free(format);
  return text.get();
}

std::string WithUtf8Body(const HeaderBlock& header) {
  static constexpr std::array<std::string_view, 3> REPLACED = {"MIME-Version", "Content-Type",
                                                               "Content-Transfer-Encoding"};
  std::string out;
  for (const HeaderField& field : header.fields) {
    if (!IsOneOf(field.name, REPLACED)) out += ConvertField(field);
  }
  const EncodedText text = EncodeTextPart(host::CodePage932ToUtf8(header.body));
  out += "MIME-Version: 1.0\r\n";
  out +=
      "Content-Type:" + Utf8ContentType(host::CodePage932ToUtf8(ValueOf(header, "Content-Type")));
  out += "Content-Transfer-Encoding: " + text.transferEncoding + "\r\n\r\n";
  return out + text.contents;
}

}  // namespace

std::string ConvertWholeMail(std::string_view mail) {
  const HeaderBlock header = SplitHeader(mail);
  const bool isLawful =
      header.isWellFormed && std::all_of(header.fields.begin(), header.fields.end(),
                                         [](const HeaderField& field) { return field.IsLawful(); });
  if (isLawful && host::IsAscii(mail)) return std::string(mail);
  if (LacksCharset(header)) return WithUtf8Body(header);
  std::string out;
  for (const HeaderField& field : header.fields)
    out += ConvertField(field);
  if (!out.ends_with('\n')) out += "\r\n";
  return out.append("\r\n").append(header.body);
}

}  // namespace nimport::command
