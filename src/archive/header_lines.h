// A mail's header as a list of fields, bytes as they stand.
#ifndef NIMPORT_ARCHIVE_HEADER_LINES_H_
#define NIMPORT_ARCHIVE_HEADER_LINES_H_

#include <string>
#include <string_view>
#include <vector>

namespace nimport::archive {

struct HeaderField {
  std::string_view name;  // without blanks before the colon
  // The whole field: name, colon, value, continuation lines, line ends; and lines after it that are
  // no field, for they were folded once, most likely.
  std::string_view raw;

  // Whether the colon follows the name at once. Many readers take no blanks there.
  [[nodiscard]] bool IsLawful() const {
    return raw.size() > name.size() && raw[name.size()] == ':';
  }

  // The whole field without blanks before the colon.
  [[nodiscard]] std::string Lawful() const;
  [[nodiscard]] std::string Value() const;  // unfolded, without blanks at the ends
};

struct HeaderBlock {
  std::vector<HeaderField> fields;
  std::string_view body;
  bool isWellFormed = false;  // every line belongs to a field, up to an empty line or the end
};

// The header where mime::HeaderBlock finds it. Borrows from `mail`.
[[nodiscard]] HeaderBlock SplitHeader(std::string_view mail);

// The fields among the lines of a header. What belongs to no field is passed over.
[[nodiscard]] std::vector<HeaderField> ReadFields(std::string_view lines);

// Whether two field names are the same; letter case does not count.
[[nodiscard]] bool IsSameName(std::string_view a, std::string_view b);

// The value of the first field called `name`; empty when there is none.
[[nodiscard]] std::string FindHeaderValue(std::string_view mail, std::string_view name);

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_HEADER_LINES_H_
