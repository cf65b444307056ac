#include "extraction/related_parts.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <unordered_map>

#include "common/code_page_932.h"
#include "common/failure.h"
#include "common/fixed_text.h"
#include "mailstore/mail_text.h"

namespace nimport::extraction {
namespace {

using mailstore::RelatedPart;

constexpr std::string_view RELATED_TYPE = "multipart/related;";
constexpr std::string_view BOUNDARY_PARAMETER = "boundary=";
constexpr std::string_view CONTENT_TYPE = "Content-Type";
constexpr std::string_view HEADER_END = "\r\n\r\n";
constexpr std::string_view CLOSING_MARK = "--";

// As text.find(wanted, from), but throws Failure where there is none.
std::size_t Require(std::string_view text, std::string_view wanted, std::size_t from,
                    const char* what) {
  const std::size_t found = text.find(wanted, from);
  if (found == std::string_view::npos) {
    FailInvalid(std::string("a multipart/related structure without ") + what);
  }
  return found;
}

// Finds one delimiter again and again. Unlike string_view::find it takes time in proportion to the
// text even where text and delimiter are long runs of the same byte.
class DelimiterSearch {
 public:
  explicit DelimiterSearch(std::string_view delimiter)
      : searcher_(delimiter.begin(), delimiter.end()) {}

  // The first place at or after `from`.
  [[nodiscard]] std::size_t Require(std::string_view text, std::size_t from) const {
    const auto found =
        std::search(text.begin() + static_cast<std::ptrdiff_t>(from), text.end(), searcher_);
    if (found == text.end()) FailInvalid("a multipart/related structure that is not closed");
    return static_cast<std::size_t>(found - text.begin());
  }

 private:
  std::boyer_moore_searcher<std::string_view::iterator> searcher_;
};

// The bytes between the quotes that follow the structure's "boundary=", as a view into `text`.
std::string_view ReadBoundary(std::string_view text, std::size_t structure) {
  const std::size_t parameter = Require(text, BOUNDARY_PARAMETER, structure, "a boundary");
  const std::size_t begin = Require(text, "\"", parameter, "a boundary in quotes") + 1;
  const std::size_t end = Require(text, "\"", begin, "a boundary in quotes");
  if (end - begin + CLOSING_MARK.size() > ValueText::MAX_BYTES) {
    FailInvalid("a multipart/related structure with a boundary that is too long");
  }
  return text.substr(begin, end - begin);
}

bool IsRecorded(std::string_view contentTypeLine) {
  return contentTypeLine.find("multipart") == std::string_view::npos &&
         contentTypeLine.find("text") == std::string_view::npos;
}

// "image/gif" of " image/gif; name=x".
std::string_view TypeOf(std::string_view contentTypeLine) {
  contentTypeLine.remove_prefix(
      std::min(contentTypeLine.find_first_not_of(' '), contentTypeLine.size()));
  return contentTypeLine.substr(0, contentTypeLine.find(';'));
}

// Adds parts to a list and numbers those of the same content type.
class PartRecorder {
 public:
  explicit PartRecorder(std::vector<RelatedPart>& parts) : parts_(parts) {}

  // `contentType` must outlive the recorder.
  void Record(std::string_view contentType) {
    std::int32_t& count = counts_[contentType];
    parts_.push_back({.occurrence = count, .contentType = ValueText::Cut(contentType)});
    ++count;
  }

 private:
  std::vector<RelatedPart>& parts_;
  std::unordered_map<std::string_view, std::int32_t> counts_;
};

// Records the parts behind `position`. Every search begins where the one before it ended, so the
// text is gone through once.
void ScanParts(std::string_view text, std::size_t position, std::string_view boundary,
               PartRecorder& recorder) {
  const std::string closingDelimiter = std::string(boundary).append(CLOSING_MARK);
  const std::size_t closing = DelimiterSearch(closingDelimiter).Require(text, position);
  const DelimiterSearch delimiters(boundary);
  for (;;) {
    const std::size_t delimiter = delimiters.Require(text, position);
    if (delimiter == closing) return;
    // A part without a content type takes that of a later part: the search does not end with it.
    const std::size_t header = Require(text, CONTENT_TYPE, delimiter, "a content type");
    const std::size_t headerEnd = Require(text, HEADER_END, header, "an end of a header");
    const auto line = mailstore::FindHeaderLine(text.substr(header, headerEnd - header),
                                                mailstore::FieldSelector::ContentType);
    if (!line) FailInvalid("a related part whose content type cannot be read");
    if (IsRecorded(*line)) recorder.Record(TypeOf(*line));
    position = headerEnd + 1;
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
  text = UpToNul(text);
  const std::size_t structure = text.find(RELATED_TYPE);
  if (structure == std::string_view::npos) return;
  const std::string_view boundary = ReadBoundary(text, structure);
  const auto closingQuote = static_cast<std::size_t>(boundary.end() - text.begin());
  PartRecorder recorder(parts);
  ScanParts(text, closingQuote, boundary, recorder);
}

std::optional<std::string> ExtensionForContentType(std::string_view contentType) {
  contentType = UpToNul(contentType);
  const std::size_t slash = contentType.find('/');
  if (slash == std::string_view::npos) return std::nullopt;
  std::string_view subtype = contentType.substr(slash + 1);
  subtype = subtype.substr(0, subtype.find(';'));
  if (LooksLikePlain(subtype)) return ".txt";
  if (subtype.size() + 1 > NameText::MAX_BYTES) FailInvalid("a content type's subtype is too long");
  return std::string(".").append(subtype);
}

}  // namespace nimport::extraction
