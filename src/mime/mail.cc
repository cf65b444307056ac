#include "mime/mail.h"

#include <algorithm>
#include <utility>

#include "common/related_structure.h"
#include "mime/header_block.h"
#include "mime/header_text.h"
#include "mime/structure.h"
#include "text/ascii.h"
#include "text/charset.h"
#include "text/code_page_932.h"

namespace nimport::mime {
namespace {

// A subject that names a file is cut here: longer names do not fit some file systems.
constexpr std::size_t MAX_SUBJECT_IN_NAME = 120;

std::string_view HeaderIn(std::string_view text, const Part& part) {
  return part.header.In(text);
}

std::string FindHeaderText(TextForm form, std::string_view headerLines,
                           std::string_view fieldName) {
  return DecodeField(form, HeaderBlock::OfLines(headerLines), fieldName).value_or("");
}

// Nothing that reads mails ends lines with CR alone, but old machines did.
std::string WithLineFeeds(std::string&& text) {
  const bool hasLineFeeds = text.find('\n') != std::string::npos;
  if (!hasLineFeeds) std::ranges::replace(text, '\r', '\n');
  return std::move(text);
}

// By part, whether the plug-in hands it out as a related part.
std::vector<bool> FindHandedOut(std::string_view text, const std::vector<Part>& parts,
                                const std::vector<RecordedPart>& recorded) {
  std::vector<bool> isHandedOut(parts.size());
  for (const RecordedPart& entry : recorded) {
    if (entry.partIndex == NO_PART) continue;
    const std::string_view header = HeaderIn(text, parts[entry.partIndex]);
    isHandedOut[entry.partIndex] = !IsRelatedPartToSave(header);
  }
  return isHandedOut;
}

// `text` with '_' for what no file name may have.
std::string ToFileName(TextForm form, std::string_view text) {
  constexpr std::string_view FORBIDDEN = "\\/:*?\"<>|";
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char character = text[i];
    const bool isControl = character >= '\0' && character < ' ';
    if (BeginsWithPair(form, text.substr(i))) {
      result += text.substr(i++, 2);
    } else {
      result += isControl || FORBIDDEN.find(character) != std::string_view::npos ? '_' : character;
    }
  }
  return result;
}

}  // namespace

Mail::Mail(std::string text, TextForm form)
    : text_(WithLineFeeds(std::move(text))),
      form_(form),
      parts_(ReadStructure(form_, text_)),
      recordedParts_(FindRecordedParts(text_, parts_)),
      roles_(FindRoles(parts_, FindHandedOut(text_, parts_, recordedParts_))) {}

std::string Mail::HeaderText(std::string_view fieldName) const {
  return FindHeaderText(form_, HeaderIn(text_, parts_.front()), fieldName);
}

std::string Mail::SavedName(std::size_t partIndex) const {
  const Part& part = parts_[partIndex];
  if (!part.fileName.empty()) return part.fileName;
  if (HasType(part, "application/pkcs7-signature") ||
      HasType(part, "application/x-pkcs7-signature")) {
    return "smime.p7s";
  }
  if (!HasType(part, "message/rfc822")) return {};
  const bool isRead = part.kind == PartKind::Message && partIndex + 1 < parts_.size();
  const std::string subject =
      isRead ? FindHeaderText(form_, HeaderIn(text_, parts_[partIndex + 1]), "Subject")
             : std::string();
  const std::string name = ToFileName(form_, CutAtCharacter(form_, subject, MAX_SUBJECT_IN_NAME));
  return (name.empty() ? "message" : name) + ".eml";
}

bool Mail::IsText(std::size_t partIndex) const {
  const Part& part = parts_[partIndex];
  return part.kind == PartKind::Leaf && HasType(part, "text/");
}

std::string Mail::Text(std::size_t partIndex) const {
  const Part& part = parts_[partIndex];
  const std::string_view encoded = part.contents.In(text_);
  if (part.encoding == TransferEncoding::Identity) return ToForm(form_, encoded, part.charset);
  return ToForm(form_, DecodeTransfer(part.encoding, encoded), part.charset);
}

TransferDecoder Mail::Contents(std::size_t partIndex) const {
  const Part& part = parts_[partIndex];
  return {part.encoding, part.contents.In(text_)};
}

}  // namespace nimport::mime
