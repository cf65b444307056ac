#include "archive/contacts/ldif.h"

#include <algorithm>

#include "mime/transfer_encoding.h"

namespace nimport::archive {

namespace {

constexpr std::size_t MAX_LINE = 76;

// SAFE-STRING of RFC 2849, and no blank at the end, which its notes advise against.
bool IsSafe(std::string_view text) {
  if (text.empty()) return true;
  const char first = text.front();
  const auto isSafe = [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x80 && byte != 0 && c != '\r' && c != '\n';
  };
  return first != ' ' && first != ':' && first != '<' && text.back() != ' ' &&
         std::ranges::all_of(text, isSafe);
}

void AppendLine(std::string& entry, std::string_view attribute, std::string_view value) {
  std::string line(attribute);
  line += IsSafe(value) ? ": " + std::string(value) : ":: " + mime::EncodeBase64Line(value);
  // The line is plain ASCII by now.
  std::string_view rest = line;
  for (std::size_t room = MAX_LINE; rest.size() > room; room = MAX_LINE - 1) {
    entry.append(rest.substr(0, room)).append("\n ");
    rest.remove_prefix(room);
  }
  entry.append(rest).append("\n");
}

void AppendUnlessEmpty(std::string& entry, std::string_view attribute, std::string_view value) {
  if (!value.empty()) AppendLine(entry, attribute, value);
}

}  // namespace

LdifWriter::LdifWriter(TextSink sink) : ContactWriter(std::move(sink)) {
  Put("version: 1\n");
}

void LdifWriter::BeginGroup(const std::string& name) {
  path_.push_back({.number = ++groupCount_, .name = name, .members = {}});
}

void LdifWriter::Write(const Contact& contact) {
  const std::string dn = "uid=" + contact.uid + ",ou=contacts";
  const std::string_view nativeId = contact.NativeId();
  const std::string name = contact.DisplayName();
  std::string entry = "\n";
  AppendLine(entry, "dn", dn);
  for (const char* kind : {"top", "person", "organizationalPerson", "inetOrgPerson"}) {
    AppendLine(entry, "objectClass", kind);
  }
  AppendLine(entry, "uid", contact.uid);
  AppendUnlessEmpty(entry, "uid", nativeId);
  AppendLine(entry, "cn", name);
  AppendLine(entry, "sn", name);
  for (const std::string& email : contact.emails)
    AppendLine(entry, "mail", email);
  AppendUnlessEmpty(entry, "description", contact.comment);
  if (!nativeId.empty()) AppendLine(entry, "description", NoteOnNativeId(nativeId));
  Put(entry);
  if (!path_.empty()) path_.back().members.push_back(dn);
}

void LdifWriter::EndGroup() {
  const OpenGroup group = std::move(path_.back());
  path_.pop_back();
  if (group.members.empty()) return;
  const std::string unit = "group-" + std::to_string(group.number);
  const std::string dn = "ou=" + unit + ",ou=contacts";
  std::string entry = "\n";
  AppendLine(entry, "dn", dn);
  AppendLine(entry, "objectClass", "top");
  AppendLine(entry, "objectClass", "groupOfNames");
  AppendLine(entry, "ou", unit);
  AppendLine(entry, "cn", group.name.empty() ? unit : group.name);
  for (const std::string& member : group.members)
    AppendLine(entry, "member", member);
  Put(entry);
  if (!path_.empty()) path_.back().members.push_back(dn);
}

}  // namespace nimport::archive
