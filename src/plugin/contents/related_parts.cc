#include "plugin/contents/related_parts.h"

#include <cstdint>
#include <unordered_map>

#include "common/failure.h"
#include "common/related_structure.h"
#include "text/code_page_932.h"
#include "text/fixed_text.h"

namespace nimport::plugin {
namespace {

// Numbers the entries of each content type.
void AppendNumbered(const std::vector<RelatedEntry>& entries, std::vector<RelatedPart>& parts) {
  std::unordered_map<std::string_view, std::int32_t> counts;
  for (const RelatedEntry& entry : entries) {
    parts.push_back({.occurrence = counts[entry.contentType]++,
                     .contentType = text::ValueText::Cut(entry.contentType)});
  }
}

// Whether a subtype is "plain", give or take its last byte: "plain " is, so is any single byte.
bool LooksLikePlain(std::string_view subtype) {
  if (subtype.empty()) return false;
  return std::string_view("plain").starts_with(subtype.substr(0, subtype.size() - 1));
}

}  // namespace

void BuildRelatedParts(std::string_view text, std::vector<RelatedPart>& parts) {
  parts.clear();
  std::vector<RelatedEntry> entries;
  try {
    ScanRelatedStructure(text, entries);
  } catch (const Failure&) {
    AppendNumbered(entries, parts);
    throw;
  }
  AppendNumbered(entries, parts);
}

std::optional<std::string> ExtensionForContentType(std::string_view contentType) {
  contentType = text::UpToNul(contentType);
  const std::size_t slash = contentType.find('/');
  if (slash == std::string_view::npos) return std::nullopt;
  std::string_view subtype = contentType.substr(slash + 1);
  subtype = subtype.substr(0, subtype.find(';'));
  if (LooksLikePlain(subtype)) return ".txt";
  if (subtype.size() + 1 > text::NameText::MAX_BYTES)
    FailInvalid("a content type's subtype is too long");
  return std::string(".").append(subtype);
}

}  // namespace nimport::plugin
