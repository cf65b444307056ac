#include "archive/contacts/vcard.h"

#include "text/utf8.h"

namespace nimport::archive {

namespace {

// Octets of a line without its end; the blank that begins a continuation counts.
constexpr std::size_t MAX_LINE = 75;

// `text` as a value, or as a part of a list or of a compound value. Version 4.0 has semicolons
// escaped in compound values alone, 3.0 everywhere.
std::string Escape(std::string_view text, bool escapesSemicolons) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '\\' || c == ',' || (c == ';' && escapesSemicolons)) {
      out.append(1, '\\').append(1, c);
    } else if (c == '\r' && text.substr(i + 1, 1) == "\n") {
      continue;  // its line feed follows
    } else if (c == '\r' || c == '\n') {
      out += "\\n";
    } else {
      const bool isControl = (static_cast<unsigned char>(c) < 0x20 && c != '\t') || c == 0x7F;
      out += isControl ? ' ' : c;
    }
  }
  return out;
}

// Appends a line, folded between characters.
void AppendLine(std::string& card, const std::string& line) {
  std::string_view rest = line;
  for (std::size_t room = MAX_LINE; rest.size() > room; room = MAX_LINE - 1) {
    const std::string_view piece = text::CutUtf8(rest, room);
    card.append(piece).append("\r\n ");
    rest.remove_prefix(piece.size());
  }
  card.append(rest).append("\r\n");
}

std::string Categories(std::span<const std::string> groups, bool escapesSemicolons) {
  std::string list;
  for (const std::string& group : groups) {
    if (group.empty()) continue;
    if (!list.empty()) list += ',';
    list += Escape(group, escapesSemicolons);
  }
  return list;
}

}  // namespace

void VCardWriter::Write(const Contact& contact) {
  const bool isV3 = version_ == VCardVersion::V3_0;
  std::string card = "BEGIN:VCARD\r\n";
  const auto appendText = [&](const char* property, std::string_view text) {
    AppendLine(card, std::string(property) + ':' + Escape(text, isV3));
  };
  AppendLine(card, isV3 ? "VERSION:3.0" : "VERSION:4.0");
  AppendLine(card, std::string(VCARD_PRODUCT));
  AppendLine(card, "UID:urn:uuid:" + contact.uid);
  const std::string name = contact.DisplayName();
  appendText("FN", name);
  // Which part of a name is the family name is not known; whole, it sorts as the mail client did.
  AppendLine(card, "N:" + Escape(name, true) + ";;;;");
  for (const std::string& email : contact.emails) {
    appendText(isV3 ? "EMAIL;TYPE=INTERNET" : "EMAIL", email);
  }
  if (!contact.comment.empty()) appendText("NOTE", contact.comment);
  if (const std::string_view nativeId = contact.NativeId(); !nativeId.empty()) {
    appendText("NOTE", NoteOnNativeId(nativeId));
    appendText("X-NIMPORT-USER-ID", nativeId);
  }
  if (const std::string list = Categories(contact.groups, isV3); !list.empty()) {
    AppendLine(card, "CATEGORIES:" + list);
  }
  card += "END:VCARD\r\n";
  Put(card);
}

}  // namespace nimport::archive
