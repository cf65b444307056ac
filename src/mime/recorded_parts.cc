#include "mime/recorded_parts.h"

#include "common/failure.h"
#include "common/related_structure.h"

namespace nimport::mime {
namespace {

bool HoldsPlace(const Part& part, std::size_t place) {
  return part.header.begin <= place && place < part.header.end;
}

TextRange RangeOf(std::string_view piece, std::string_view text) {
  if (piece.empty()) return {};
  const auto begin = static_cast<std::size_t>(piece.data() - text.data());
  return {begin, begin + piece.size()};
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
    // A part is recorded once: the scan has left its header then.
    recorded.push_back(
        {.partIndex = isPart ? i : NO_PART, .contentType = RangeOf(entry.contentType, mail)});
    if (isPart) ++i;
  }
  return recorded;
}

}  // namespace nimport::mime
