#ifndef NIMPORT_MIME_HEADER_BLOCK_H_
#define NIMPORT_MIME_HEADER_BLOCK_H_

#include <cstddef>
#include <optional>
#include <string_view>

namespace nimport::mime {

// Whether a block begins a mail, where lines that are not header fields may stand first.
enum class HeaderPlace { Mail, Part };

// One field, as views into the text that it was read from.
struct HeaderField {
  std::string_view name;   // without blanks before the colon
  std::string_view value;  // all after the colon, with its folds and the line end
  std::string_view whole;  // name, colon and value
};

// The header fields at the start of a mail or part, as views into its text. Nothing is stored per
// field, so that a mail with millions of them costs no more than its text. Lines end with LF or CR
// LF, or, in a text without any LF, with CR.
class HeaderBlock {
 public:
  // The block at the start of `text`. It ends with an empty line, or one of blanks; before the
  // first line that is no field and does not continue one; or with the text. A line of blanks or a
  // stray line ends nothing where a field that mails are known to have follows soon. A text whose
  // first line is no header field has an empty block: all of it is contents. At the start of a
  // mail, a byte order mark, empty lines, an mbox separator line and stray lines before the first
  // field are passed over.
  [[nodiscard]] static HeaderBlock Read(std::string_view text, HeaderPlace place);

  // A block whose fields are known to be `lines`.
  [[nodiscard]] static HeaderBlock OfLines(std::string_view lines);

  // The value of the first field of this name (any letter case), with its folds and the line end.
  [[nodiscard]] std::optional<std::string_view> Find(std::string_view name) const;

  // Takes the next field off the front of `lines`, which is what is left of the block's, and stray
  // lines before it. Empty when there is none.
  [[nodiscard]] std::optional<HeaderField> TakeField(std::string_view& lines) const;

  // The fields with their line ends, and stray lines between them.
  [[nodiscard]] std::string_view lines() const { return lines_; }

  // Where the contents begin in the text that was read.
  [[nodiscard]] std::size_t contentStart() const { return contentStart_; }

 private:
  std::string_view lines_;
  std::size_t contentStart_ = 0;
  char lineEnd_ = '\n';
};

// Takes one line, its end included, off the front of `text`.
[[nodiscard]] std::string_view TakeLine(std::string_view& text, char lineEnd = '\n');

}  // namespace nimport::mime

#endif  // NIMPORT_MIME_HEADER_BLOCK_H_
