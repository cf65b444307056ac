#include "extraction/related_part_files.h"

#include <optional>
#include <string_view>
#include <utility>

#include "common/failure.h"
#include "extraction/related_parts.h"

namespace nimport::extraction {
namespace {

// Parts that say so in this very form are attachments, which the scan of the mail's text has
// counted as related parts all the same.
constexpr std::string_view ATTACHMENT_LINE = "Content-Disposition: attachment";

const mailstore::RelatedPart& RelatedPartAt(const mailstore::MailStore& store,
                                            std::int32_t number) {
  if (!store.currentParts || number < 0 ||
      static_cast<std::size_t>(number) >= store.currentParts->size()) {
    FailInvalid("the mail whose bodies were counted last has no related part " +
                std::to_string(number));
  }
  return (*store.currentParts)[static_cast<std::size_t>(number)];
}

std::string FetchRelatedPart(mailstore::MailStore& store, const mailstore::RelatedPart& wanted) {
  const std::optional<mime::Parts> parts = store.mime.GetParts(wanted.contentType.str());
  if (!parts) FailInvalid("the MIME library gives no parts of type " + wanted.contentType.str());
  std::int32_t passed = 0;
  for (std::int32_t i = 0; i < parts->count; ++i) {
    const std::string_view header = parts->headers.Find(i).value_or("");
    if (header.find(ATTACHMENT_LINE) != std::string_view::npos) continue;
    if (passed++ == wanted.occurrence) return std::string(parts->bodies.Find(i).value_or(""));
  }
  FailInvalid("the mail has too few parts of type " + wanted.contentType.str());
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
  const mailstore::RelatedPart& wanted = RelatedPartAt(extraction.store, number);
  const std::string contents = FetchRelatedPart(extraction.store, wanted);
  return WriteTemporaryFile(extraction, contents,
                            {.extension = ExtensionFor(wanted.contentType.str()),
                             .emptyContents = EmptyContents::AreIncomplete});
}

}  // namespace nimport::extraction
