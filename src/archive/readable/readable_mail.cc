#include "archive/readable/readable_mail.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <vector>

#include "archive/header_lines.h"
#include "archive/readable/field_rewriting.h"
#include "archive/readable/mail_rewriting.h"
#include "mime/garbling.h"
#include "mime/header_block.h"
#include "mime/header_text.h"
#include "mime/structure.h"
#include "mime/transfer_encoding.h"
#include "text/ascii.h"
#include "text/charset.h"

namespace nimport::archive {

namespace {

using mime::Part;
using mime::PartKind;

// Fields beside those with addresses that programs show. Others stay as they are, as no program
// garbles a Message-ID.
bool IsShownField(std::string_view name) {
  static constexpr std::array<std::string_view, 7> NAMES = {"Subject",
                                                            "Comments",
                                                            "Keywords",
                                                            "Organization",
                                                            "Content-Type",
                                                            "Content-Disposition",
                                                            "Content-Description"};
  return IsAddressField(name) || std::ranges::any_of(NAMES, [&](std::string_view other) {
           return IsSameName(name, other);
         });
}

std::string_view RawValue(const HeaderField& field) {
  return field.raw.substr(field.raw.find(':') + 1);
}

bool IsGarbledField(const HeaderField& field) {
  if (!IsShownField(field.name)) return false;
  const bool hasParameters =
      IsSameName(field.name, "Content-Type") || IsSameName(field.name, "Content-Disposition");
  return hasParameters ? mime::IsGarbledParameters(RawValue(field))
                       : mime::IsGarbledValue(RawValue(field));
}

// The parts of a mail and what programs show of them.
class ShownParts {
 public:
  // `parts` are those of `mail`; both outlive the object.
  ShownParts(std::string_view mail, const std::vector<Part>& parts) : mail_(mail), parts_(parts) {
    isShut_.resize(parts_.size());
    for (std::size_t i = 1; i < parts_.size(); ++i)
      isShut_[i] = isShut_[parts_[i].parent] || IsAttachedMessage(parts_[parts_[i].parent]);
  }

  // Lies in an enclosed message that is attached.
  [[nodiscard]] bool IsShut(std::size_t i) const { return isShut_[i]; }

  [[nodiscard]] bool IsGarbledText(std::size_t i) const {
    return IsShownText(i) && mime::IsGarbledText(mail_, parts_[i]);
  }

  [[nodiscard]] bool IsGarbled(std::size_t i) const {
    if (isShut_[i]) return false;
    return std::ranges::any_of(ReadFields(parts_[i].header.In(mail_)), IsGarbledField) ||
           IsGarbledText(i);
  }

  // Whether somebody signed or encrypted something of the mail.
  [[nodiscard]] bool IsProtected() const {
    return std::ranges::any_of(
        parts_, [this](const Part& part) { return HasProtectedType(part) || HasPgpText(part); });
  }

 private:
  static bool IsAttachedMessage(const Part& part) {
    return part.kind == PartKind::Message &&
           (part.disposition == mime::Disposition::Attachment || !part.fileName.empty());
  }

  // Text with a name is a file, unless it is the mail's only or first text, or one form of it.
  [[nodiscard]] bool IsShownText(std::size_t i) const {
    const Part& part = parts_[i];
    if (part.kind != PartKind::Leaf || !mime::HasType(part, "text/") ||
        part.encoding == mime::TransferEncoding::Uuencode ||
        part.disposition == mime::Disposition::Attachment) {
      return false;
    }
    return part.fileName.empty() || part.parent == mime::NO_PART || i == FirstLeaf() ||
           mime::HasType(parts_[part.parent], "multipart/alternative");
  }

  [[nodiscard]] std::size_t FirstLeaf() const {
    const auto first = std::ranges::find(parts_, PartKind::Leaf, &Part::kind);
    return static_cast<std::size_t>(first - parts_.begin());
  }

  static bool HasProtectedType(const Part& part) {
    static constexpr std::array<std::string_view, 4> TYPES = {
        "multipart/signed", "multipart/encrypted", "application/pkcs7-mime",
        "application/x-pkcs7-mime"};
    return std::ranges::any_of(TYPES,
                               [&](std::string_view type) { return mime::HasType(part, type); });
  }

  [[nodiscard]] bool HasPgpText(const Part& part) const {
    constexpr std::string_view MARK = "-----BEGIN PGP ";
    if (part.kind != PartKind::Leaf || !mime::HasType(part, "text/")) return false;
    if (part.encoding == mime::TransferEncoding::Identity)
      return part.contents.In(mail_).find(MARK) != std::string_view::npos;
    return mime::TextBytes(mail_, part).find(MARK) != std::string::npos;
  }

  std::string_view mail_;
  const std::vector<Part>& parts_;
  std::vector<bool> isShut_;
};

std::string ToUtf8(const HeaderField& field) {
  return std::string(text::Trim(mime::UnfoldHeaderValue(mime::TextForm::Utf8, RawValue(field))));
}

bool IsContentField(const HeaderField& field) {
  return text::StartsWithIgnoringCase(field.name, "Content-");
}

void AppendOriginal(std::string& out, std::string_view mail) {
  out +=
      "Content-Type: application/octet-stream; name=original.eml\r\n"
      "Content-Disposition: attachment; filename=original.eml\r\n"
      "Content-Description: the mail as it was\r\n"
      "Content-Transfer-Encoding: base64\r\n\r\n";
  out += mime::EncodeBase64Lines(mail);
}

}  // namespace

bool IsShownGarbled(const mime::Mail& mail) {
  const ShownParts shown(mail.text(), mail.parts());
  for (std::size_t i = 0; i < mail.parts().size(); ++i) {
    if (shown.IsGarbled(i)) return !shown.IsProtected();
  }
  return false;
}

std::string MakeReadable(std::string_view mail) {
  const std::vector<Part> parts = mime::ReadStructure(mime::TextForm::Utf8, mail);
  const ShownParts shown(mail, parts);
  MailRewriting rewriting(mail);
  const FieldReading reading{.isRewritten = IsGarbledField, .toUtf8 = ToUtf8};
  for (std::size_t i = 0; i < parts.size(); ++i) {
    if (shown.IsShut(i)) continue;
    const Part& part = parts[i];
    std::optional<std::string> text;
    if (shown.IsGarbledText(i)) text = text::ToUtf8(mime::TextBytes(mail, part), part.charset);
    rewriting.RewritePart(part, reading, text);
  }
  // Lines before the header, such as a mailbox's separator, hide it from many programs.
  return rewriting.Apply({parts.front().header.begin, mail.size()});
}

std::string MakeReadableWithOriginal(std::string_view mail, std::string_view key) {
  const std::string readable = MakeReadable(mail);
  const auto header = mime::HeaderBlock::Read(readable, mime::HeaderPlace::Part);
  // What describes the contents goes with them into the first part.
  std::string outer;
  std::string inner;
  for (const HeaderField& field : ReadFields(header.lines())) {
    if (IsSameName(field.name, "MIME-Version")) continue;
    (IsContentField(field) ? inner : outer) += field.raw;
  }
  const std::string boundary = "=_" + std::string(key);
  const std::string delimiter = "\r\n--" + boundary;
  std::string out = outer + "MIME-Version: 1.0\r\nContent-Type: multipart/mixed; boundary=\"" +
                    boundary + "\"\r\n" + delimiter + "\r\n" + inner + "\r\n";
  out.append(std::string_view(readable).substr(header.contentStart()));
  out += delimiter + "\r\n";
  AppendOriginal(out, mail);
  return out + "--" + boundary + "--\r\n";
}

}  // namespace nimport::archive
