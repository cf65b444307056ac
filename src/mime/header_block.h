#ifndef NIMPORT_MIME_HEADER_BLOCK_H_
#define NIMPORT_MIME_HEADER_BLOCK_H_

#include <cstddef>
#include <optional>
#include <string_view>

namespace nimport::mime {

// Whether a block begins a mail, where lines that are not header fields may stand first.
enum class HeaderPlace { Mail, Part };

// The header fields at the start of a mail or part, as views into its text. Nothing is stored per
// field, so that a mail with millions of them costs no more than its text.
class HeaderBlock {
 public:
  // The block at the start of `text`. It ends with an empty line, or with the text. A text whose
  // first line is no header field has an empty block: all of it is contents. At the start of a
  // mail, empty lines and an mbox separator line before the first field are passed over.
  [[nodiscard]] static HeaderBlock Read(std::string_view text, HeaderPlace place);

  // The value of the first field of this name (any letter case), with its folds and the line end.
  [[nodiscard]] std::optional<std::string_view> Find(std::string_view name) const;

  // The fields with their line ends.
  [[nodiscard]] std::string_view lines() const { return lines_; }

  // Where the contents begin in the text that was read.
  [[nodiscard]] std::size_t contentStart() const { return contentStart_; }

 private:
  std::string_view lines_;
  std::size_t contentStart_ = 0;
};

// Takes one line, its end included, off the front of `text`.
[[nodiscard]] std::string_view TakeLine(std::string_view& text);

}  // namespace nimport::mime

#endif  // NIMPORT_MIME_HEADER_BLOCK_H_
