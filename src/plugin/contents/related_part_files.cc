#include "plugin/contents/related_part_files.h"

#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "common/failure.h"
#include "common/related_structure.h"
#include "plugin/contents/related_parts.h"

namespace nimport::plugin {
namespace {

// Answers about more parts than this are not kept: a library that answers with the same parts for
// many types would fill the memory.
constexpr std::size_t MAX_KEPT_PARTS = std::size_t{1} << 20;

const RelatedPart& RelatedPartAt(const MailStore& store, std::int32_t number) {
  if (!store.currentParts || number < 0 ||
      static_cast<std::size_t>(number) >= store.currentParts->size()) {
    FailInvalid("the mail whose bodies were counted last has no related part " +
                std::to_string(number));
  }
  return (*store.currentParts)[static_cast<std::size_t>(number)];
}

// The parts that the library gives for a content type. Valid until the next call.
const PartsOfType& GetPartsOfType(MailStore& store, const std::string& contentType) {
  MimeAnswers& answers = store.mimeFile.answers;
  const auto known = answers.partsByType.find(contentType);
  if (known != answers.partsByType.end()) return known->second;
  std::optional<Parts> parts = store.mime.GetParts(contentType);
  if (!parts) FailInvalid("the MIME library gives no parts of type " + contentType);
  std::vector<std::int32_t> related;
  for (std::int32_t i = 0; i < parts->count; ++i) {
    if (!IsRelatedPartToSave(parts->headers.Find(i).value_or(""))) related.push_back(i);
  }
  if (answers.partCount > MAX_KEPT_PARTS) {
    answers.partsByType.clear();
    answers.partCount = 0;
  }
  answers.partCount += static_cast<std::size_t>(parts->count);
  return answers.partsByType
      .emplace(contentType, PartsOfType{*std::move(parts), std::move(related)})
      .first->second;
}

// The bytes of a related part, valid until the next call.
std::string_view FetchRelatedPart(MailStore& store, const RelatedPart& wanted) {
  const PartsOfType& known = GetPartsOfType(store, wanted.contentType.str());
  const auto occurrence = static_cast<std::size_t>(wanted.occurrence);
  if (occurrence >= known.related.size()) {
    FailInvalid("the mail has too few parts of type " + wanted.contentType.str());
  }
  return known.parts.bodies.Find(known.related[occurrence]).value_or("");
}

// Pictures keep the extension that the host chose, but for bitmaps, which get their own.
ExtensionRequest ExtensionFor(const std::string& contentType) {
  if (contentType.find("image/bmp") == std::string::npos) return KEEP_EXTENSION;
  std::optional<std::string> extension = ExtensionForContentType(contentType);
  if (!extension) FailInvalid("the content type has no subtype");
  return *std::move(extension);
}

}  // namespace

std::string WriteRelatedPart(Extraction& extraction, std::int32_t number) {
  const RelatedPart& wanted = RelatedPartAt(extraction.store, number);
  const std::string_view contents = FetchRelatedPart(extraction.store, wanted);
  return WriteTemporaryFile(extraction, contents,
                            {.extension = ExtensionFor(wanted.contentType.str()),
                             .emptyContents = EmptyContents::AreIncomplete});
}

}  // namespace nimport::plugin
