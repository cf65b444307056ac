#include "mime/mail.h"

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

std::string FindHeaderText(std::string_view headerLines, std::string_view fieldName) {
  const HeaderBlock header = HeaderBlock::Read(headerLines, HeaderPlace::Part);
  return DecodeHeaderValue(header.Find(fieldName).value_or(""));
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

Buffer Decode(const Part& part, std::string_view text) {
  const std::string_view encoded = part.contents.In(text);
  if (part.encoding == TransferEncoding::Identity) return Buffer(encoded);
  TransferDecoder decoder(part.encoding, encoded);
  Buffer decoded(decoder.MaxSize() + TransferDecoder::MIN_ROOM);
  std::size_t size = 0;
  while (const std::size_t read = decoder.Read({decoded.data() + size, decoded.size() - size}))
    size += read;
  decoded.Shorten(size);
  return decoded;
}

// `text` with '_' for what no file name may have.
std::string ToFileName(std::string_view text) {
  constexpr std::string_view FORBIDDEN = "\\/:*?\"<>|";
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char character = text[i];
    const bool isPair = IsLeadByte(static_cast<unsigned char>(character)) && i + 1 < text.size();
    const bool isControl = character >= '\0' && character < ' ';
    if (isPair) {
      result += text.substr(i++, 2);
    } else {
      result += isControl || FORBIDDEN.find(character) != std::string_view::npos ? '_' : character;
    }
  }
  return result;
}

}  // namespace

Mail::Mail(std::string_view text)
    : text_(text),
      parts_(ReadStructure(text_)),
      recorded_(FindRecordedParts(text_, parts_)),
      roles_(FindRoles(parts_, FindHandedOut(text_, parts_, recorded_))),
      bytes_(parts_.size()),
      shown_(parts_.size()) {}

std::string Mail::HeaderText(std::string_view fieldName) const {
  return FindHeaderText(HeaderIn(text_, parts_.front()), fieldName);
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
      isRead ? FindHeaderText(HeaderIn(text_, parts_[partIndex + 1]), "Subject") : std::string();
  const std::string name = ToFileName(CutAtWholeCharacter(subject, MAX_SUBJECT_IN_NAME));
  return (name.empty() ? "message" : name) + ".eml";
}

const Buffer& Mail::Bytes(std::size_t partIndex) {
  Buffer& bytes = bytes_[partIndex];
  const Part& part = parts_[partIndex];
  if (bytes.IsNull()) bytes = Decode(part, text_);
  return bytes;
}

const Buffer& Mail::ShownContents(std::size_t partIndex) {
  const Part& part = parts_[partIndex];
  if (part.kind != PartKind::Leaf || !HasType(part, "text/")) return Bytes(partIndex);
  Buffer& shown = shown_[partIndex];
  if (shown.IsNull()) {
    const bool isEncoded = part.encoding != TransferEncoding::Identity;
    const Buffer decoded = isEncoded ? Decode(part, text_) : Buffer();
    const std::string_view bytes = isEncoded ? decoded.view() : part.contents.In(text_);
    shown = Buffer(ToCodePage932(bytes, part.charset));
  }
  return shown;
}

const std::vector<std::size_t>& Mail::FindParts(std::string_view contentType) {
  if (!lists_) lists_.emplace(parts_, recorded_);
  return lists_->Find(contentType);
}

}  // namespace nimport::mime
