#include "common/related_structure.h"

#include <algorithm>
#include <functional>
#include <string>

#include "common/failure.h"
#include "text/code_page_932.h"
#include "text/fixed_text.h"
#include "text/text_lines.h"

namespace nimport {
namespace {

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
  if (end - begin + CLOSING_MARK.size() > text::ValueText::MAX_BYTES) {
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

// Adds the parts after `position`. Every search begins where the one before it ended, so the text
// is gone through once.
void ScanParts(std::string_view text, std::size_t position, std::string_view boundary,
               std::vector<RelatedEntry>& entries) {
  const std::string closingDelimiter = std::string(boundary).append(CLOSING_MARK);
  const std::size_t closing = DelimiterSearch(closingDelimiter).Require(text, position);
  const DelimiterSearch delimiters(boundary);
  for (;;) {
    const std::size_t delimiter = delimiters.Require(text, position);
    if (delimiter == closing) return;
    // A part without a content type takes that of a later part: the search does not end with it.
    const std::size_t header = Require(text, CONTENT_TYPE, delimiter, "a content type");
    const std::size_t headerEnd = Require(text, HEADER_END, header, "an end of a header");
    const auto line = text::FindFieldLine(text.substr(header, headerEnd - header), "content-type");
    if (!line) FailInvalid("a related part whose content type cannot be read");
    const auto place = static_cast<std::size_t>(line->data() - text.data());
    if (IsRecorded(*line)) entries.push_back({.place = place, .contentType = TypeOf(*line)});
    position = headerEnd + 1;
  }
}

}  // namespace

void ScanRelatedStructure(std::string_view text, std::vector<RelatedEntry>& entries) {
  entries.clear();
  text = text::UpToNul(text);
  const std::size_t structure = text.find(RELATED_TYPE);
  if (structure == std::string_view::npos) return;
  const std::string_view boundary = ReadBoundary(text, structure);
  const auto closingQuote = static_cast<std::size_t>(boundary.end() - text.begin());
  ScanParts(text, closingQuote, boundary, entries);
}

bool IsRelatedPartToSave(std::string_view header) {
  return header.find("Content-Disposition: attachment") != std::string_view::npos;
}

}  // namespace nimport
