#include "wexmail/part_lists.h"

#include <algorithm>

#include "common/failure.h"
#include "common/related_structure.h"
#include "text/ascii.h"

namespace nimport::mime {
namespace {

std::string LowerCase(std::string_view text) {
  std::string lower(text);
  std::ranges::transform(lower, lower.begin(), AsciiLower);
  return lower;
}

bool HoldsPlace(const Part& part, std::size_t place) {
  return part.header.begin <= place && place < part.header.end;
}

}  // namespace

std::vector<RecordedPart> FindRecordedParts(std::string_view mail, std::span<const Part> parts) {
  std::vector<RelatedEntry> entries;
  try {
    ScanRelatedStructure(mail, entries);
  } catch (const Failure&) {
    return {};
  }
  std::vector<RecordedPart> recorded;
  recorded.reserve(entries.size());
  // Entries and parts stand in the order of the mail, so one walk over the parts is enough.
  std::size_t i = 0;
  for (const RelatedEntry& entry : entries) {
    while (i < parts.size() && parts[i].header.end <= entry.place)
      ++i;
    const bool isPart = i < parts.size() && HoldsPlace(parts[i], entry.place) &&
                        parts[i].kind != PartKind::Multipart;
    // A part is recorded once: its header is behind the scan then.
    recorded.push_back({.partIndex = isPart ? i : NO_PART, .contentType = entry.contentType});
    if (isPart) ++i;
  }
  return recorded;
}

PartLists::PartLists(std::span<const Part> parts, std::span<const RecordedPart> recorded) {
  for (const RecordedPart& part : recorded) {
    std::vector<std::size_t>& list = recorded_[part.contentType];
    if (part.partIndex != NO_PART) list.push_back(part.partIndex);
  }
  for (std::size_t i = 0; i < parts.size(); ++i) {
    if (parts[i].kind == PartKind::Multipart) continue;
    exact_[parts[i].type].push_back(i);
    loose_[LowerCase(parts[i].type)].push_back(i);
  }
}

const std::vector<std::size_t>& PartLists::Find(std::string_view contentType) const {
  if (const auto found = recorded_.find(contentType); found != recorded_.end()) {
    return found->second;
  }
  if (const auto found = exact_.find(std::string(contentType)); found != exact_.end()) {
    return found->second;
  }
  const std::string_view type = Trim(contentType.substr(0, contentType.find(';')));
  const auto found = loose_.find(LowerCase(type));
  return found == loose_.end() ? none_ : found->second;
}

}  // namespace nimport::mime
