#include "wexmail/part_lists.h"

#include "text/ascii.h"

namespace nimport::wexmail {
PartLists::PartLists(const mime::Mail& mail) {
  const std::vector<mime::Part>& parts = mail.parts();
  for (const mime::RecordedPart& part : mail.recordedParts()) {
    std::vector<std::size_t>& list = recorded_[part.contentType.In(mail.text())];
    if (part.partIndex != mime::NO_PART) list.push_back(part.partIndex);
  }
  for (std::size_t i = 0; i < parts.size(); ++i) {
    if (parts[i].kind == mime::PartKind::Multipart) continue;
    exact_[parts[i].type].push_back(i);
    loose_[text::AsciiLower(parts[i].type)].push_back(i);
  }
}

const std::vector<std::size_t>& PartLists::Find(std::string_view contentType) const {
  if (const auto found = recorded_.find(contentType); found != recorded_.end()) {
    return found->second;
  }
  if (const auto found = exact_.find(std::string(contentType)); found != exact_.end()) {
    return found->second;
  }
  const std::string_view type = text::Trim(contentType.substr(0, contentType.find(';')));
  const auto found = loose_.find(text::AsciiLower(type));
  return found == loose_.end() ? none_ : found->second;
}

}  // namespace nimport::wexmail
